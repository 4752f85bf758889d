/// Shows on standard error how far a run is.
#pragma once

#include <QElapsedTimer>
#include <QString>

#include <mutex>

/// On a terminal one line redrawn in place, elsewhere a line every few seconds; nothing when quiet. `TERM=dumb` counts
/// as no terminal. Nothing is coloured, so `NO_COLOR` has nothing to switch off.
class progress_display
{
public:
    explicit progress_display(bool quiet);
    ~progress_display() { finish(); }
    Q_DISABLE_COPY_MOVE(progress_display)

    /// A new phase, of which `show_bytes` shows how far it is. Nothing else is shown until the next one.
    void begin_phase(const QString &what);

    /// How far the phase is, from any thread. What was done before it began does not count. An `in_all` of 0 shows that
    /// it goes on.
    void show_bytes(qint64 done, qint64 in_all);

    /// The same; another name than before begins another phase.
    void show_bytes(const QString &what, qint64 done, qint64 in_all);

    /// The extraction begins; `tables` is how many will be reported in all.
    void begin_extraction(int tables);

    /// Rows that the extraction should come to, from any thread, as soon as they are counted; negative when that cannot
    /// be known.
    void expect_rows(qint64 rows);

    /// While it goes on: the running totals.
    void show_records(qint64 records, int tabs);

    /// Wipe the line.
    void finish();

private:
    void show(const QString &line);
    void restart(const QString &what);
    [[nodiscard]] QString share(qint64 done, qint64 in_all);

    std::mutex mutex; ///< of all that follows
    qint64 rows_expected = -1;
    int tabs_in_all = 0;
    qint64 bytes_before = -1; ///< the phase, -1 until its first bytes are shown
    double max_share = 0;     ///< that was shown of the phase; it never becomes less
    bool silent;
    bool in_place;
    bool line_drawn = false;
    QString phase;
    QElapsedTimer since_start; ///< of the phase
    qint64 next_line_at = 0;   ///< milliseconds since the start
};
