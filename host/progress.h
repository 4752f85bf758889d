/// Shows on standard error how far a run is.
#pragma once

#include "host/sources/ready_source.h"

#include <QElapsedTimer>
#include <QString>

/// On a terminal one line redrawn in place, elsewhere a line every few seconds; nothing when quiet. `TERM=dumb` counts
/// as no terminal. Nothing is coloured, so `NO_COLOR` has nothing to switch off.
class progress_display
{
public:
    explicit progress_display(bool quiet);
    ~progress_display() { finish(); }
    Q_DISABLE_COPY_MOVE(progress_display)

    /// What the extraction should come to. Without an expectation there is no percentage.
    void expect(const QList<ready_source> &sources, const QStringList &tables);

    /// Before the extraction: bytes of a phase.
    void show_bytes(const QString &phase, qint64 done, qint64 in_all);

    /// While it goes on: the running totals.
    void show_records(qint64 records, int tabs);

    /// Wipe the line.
    void finish();

private:
    void show(const QString &line);
    [[nodiscard]] QString share(qint64 done, qint64 in_all) const;

    qint64 rows_expected = -1;
    int tabs_in_all = 0;
    bool silent;
    bool in_place;
    bool line_drawn = false;
    QString phase_shown;
    QElapsedTimer since_start; ///< of the phase
    qint64 next_line_at = 0;   ///< milliseconds since the start
};
