/// Shows on standard error how far a run is.
#pragma once

#include <QElapsedTimer>
#include <QString>

/// On a terminal one line redrawn in place, elsewhere a line every few seconds; nothing when quiet. `TERM=dumb` counts
/// as no terminal. Nothing is coloured, so `NO_COLOR` has nothing to switch off.
class progress_display
{
public:
    progress_display(int expected_tabs, bool quiet);
    ~progress_display() { finish(); }
    Q_DISABLE_COPY_MOVE(progress_display)

    /// The running totals.
    void show(qint64 records, int tabs);

    /// Wipe the line.
    void finish();

private:
    [[nodiscard]] QString text(qint64 records, int tabs) const;

    int tabs_in_all;
    bool silent;
    bool in_place;
    bool line_drawn = false;
    QElapsedTimer since_start;
    qint64 next_line_at = 0; // milliseconds since the start
};
