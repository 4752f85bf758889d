/// How many rows a run has inserted, and when that is reported.
#pragma once

#include <QElapsedTimer>
#include <QStringList>

#include <functional>

class row_writer;

/// Counts the rows that are in the result, and reports the total about once a second.
class record_counter
{
public:
    using report_total = std::function<void(qint64 total)>;

    explicit record_counter(report_total report_to);

    /// Insert a row and count it; once more than a second has passed since the last report, report the total. The rows
    /// are committed first, so that a host's slot may read them from the result. False when the insert failed.
    bool insert(row_writer &rows, const QStringList &values);

    /// Commit what was inserted.
    void finish(row_writer &rows);

    /// Report the total now.
    void report() const { report_to(record_count_qint64); }

    qint64 record_count_qint64 = 0; ///< continues from run to run
    QElapsedTimer elapsed_timer;    ///< since the last report; the run starts it

private:
    report_total report_to;
};
