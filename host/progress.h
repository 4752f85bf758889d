/// Shows the progress of a run on standard error.
#pragma once

#include <QElapsedTimer>
#include <QString>

#include <mutex>

/// On a terminal one line redrawn in place, elsewhere a line every few seconds; nothing when quiet. `TERM=dumb` does
/// not count as a terminal. Nothing is coloured, so `NO_COLOR` has nothing to switch off.
class progress_display
{
public:
    explicit progress_display(bool quiet);
    ~progress_display() { finish(); }
    Q_DISABLE_COPY_MOVE(progress_display)

    /// Begin a phase; `show_bytes` shows its progress. Nothing else is shown until the next phase.
    void begin_phase(const QString &what);

    /// Show the progress of the phase, from any thread. Bytes read before it began do not count. With an `in_all` of 0
    /// only the name of the phase is shown.
    void show_bytes(qint64 done, qint64 in_all);

    /// The same; a name other than the current one begins another phase.
    void show_bytes(const QString &what, qint64 done, qint64 in_all);

    /// The extraction begins; `tables` is the number of tables that will be reported in all.
    void begin_extraction(int tables);

    /// The number of rows expected, from any thread, as soon as they are counted; negative when it is unknown.
    void expect_rows(qint64 rows);

    /// The running totals of the extraction.
    void show_records(qint64 records, int tabs);

    /// Clear the line.
    void finish();

private:
    void show(const QString &line);
    void restart(const QString &what);
    [[nodiscard]] QString share(qint64 done, qint64 in_all);

    std::mutex mutex; ///< of all that follows
    qint64 rows_expected = -1;
    int tabs_in_all = 0;
    qint64 bytes_before = -1; ///< the phase, -1 until its first bytes are shown
    double max_share = 0;     ///< shown so far in this phase; never decreases
    bool silent;
    bool in_place;
    bool line_drawn = false;
    QString phase;
    QElapsedTimer since_start; ///< of the phase
    qint64 next_line_at = 0;   ///< milliseconds since the start
};
