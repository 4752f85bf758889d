/// `gmail_host read` during an extraction, in a process of its own, so that nothing in a mail can end the extraction.
///
/// The process gets on standard input, each as one line of JSON, its job and, once the extraction has ended, how far
/// its rows go. Its report is the last line of its standard output. Lines before that show its progress, and come only
/// after it knows that the extraction has ended. If its input ends early, it keeps the mails that it has read and ends.
#pragma once

#include "host/reading/reading_report.h"

#include <QProcess>

#include <atomic>

class command_line;

/// Called with the progress of reading once the extraction has ended, in bytes, then in rows; false cancels.
using on_reading = std::function<bool(const QString &phase, qint64 done, qint64 in_all)>;

class reading_process
{
public:
    reading_process() = default;
    ~reading_process(); ///< ends the process at once when it still runs
    Q_DISABLE_COPY_MOVE(reading_process)

    /// Start it. With `replacing`, an earlier Mail.sqlite and its Parts are removed first. False when it cannot be
    /// started; `finish` then says so.
    bool start(const reading_job &job, bool replacing);

    /// Ask it to stop, from any thread.
    void cancel();

    [[nodiscard]] bool was_started() const { return !directory.isEmpty(); }

    /// The rows are complete: let it compare those after `rows_after`. `why_no_rows` is a sentence, or empty. Does
    /// nothing if it was not started.
    void rows_complete(qint64 rows_after, const QString &why_no_rows);

    /// Wait for its report. Failures of the process itself are among those of the report.
    [[nodiscard]] reading_report finish(const on_reading &go_on);

private:
    [[nodiscard]] QString how_it_ended() const;

    QProcess process;
    std::atomic<qint64> process_id = 0;
    QString directory; ///< of its database
};

/// The sub-command that is this process; not listed.
void add_reading_process_command(command_line &line);
