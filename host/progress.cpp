#include "host/progress.h"

#include "host/terminal.h"

#include <QLocale>

#include <cstdio>
#include <unistd.h>

namespace {

constexpr qint64 milliseconds_between_lines = 3000;
constexpr qint64 milliseconds_between_redraws = 100;
constexpr double bytes_of_mebibyte = 1024 * 1024;

bool is_capable_terminal()
{
    return isatty(STDERR_FILENO) != 0 && qgetenv("TERM") != "dumb";
}

} // namespace

progress_display::progress_display(bool quiet)
    : silent(quiet)
    , in_place(is_capable_terminal())
{
    since_start.start();
}

void progress_display::expect(const QList<ready_source> &sources, const QStringList &tables)
{
    rows_expected = 0;
    for (const ready_source &source : sources) {
        tabs_in_all += source.found.scheme == u"gTakeoutOS" ? 1 : static_cast<int>(tables.size());
        for (const QString &table : tables) {
            const qint64 rows = source.expected.tables.value(table, -1);
            rows_expected = rows < 0 || rows_expected < 0 ? -1 : rows_expected + rows;
        }
    }
    since_start.restart();
    next_line_at = in_place ? 0 : milliseconds_between_lines;
}

void progress_display::finish()
{
    if (line_drawn)
        std::fputs("\r\033[K", stderr);
    line_drawn = false;
}

/// ", 37 %, 12 s left"; empty when that cannot be told.
QString progress_display::share(qint64 done, qint64 in_all) const
{
    if (in_all <= 0 || done <= 0 || done > in_all)
        return {};
    const double part = static_cast<double>(done) / static_cast<double>(in_all);
    const double seconds = static_cast<double>(since_start.elapsed()) / 1000.0;
    return QStringLiteral(", %1 %, %2 s left").arg(part * 100, 0, 'f', 0).arg(seconds / part - seconds, 0, 'f', 0);
}

void progress_display::show_bytes(const QString &phase, qint64 done, qint64 in_all)
{
    if (phase != phase_shown) {
        phase_shown = phase;
        since_start.restart();
        next_line_at = in_place ? 0 : milliseconds_between_lines;
    }
    if (silent || since_start.elapsed() < next_line_at)
        return;
    show(QStringLiteral("%1: %2 of %3 MiB%4")
             .arg(phase)
             .arg(static_cast<double>(done) / bytes_of_mebibyte, 0, 'f', 1)
             .arg(static_cast<double>(in_all) / bytes_of_mebibyte, 0, 'f', 1)
             .arg(share(done, in_all)));
}

void progress_display::show_records(qint64 records, int tabs)
{
    if (silent || (!in_place && since_start.elapsed() < next_line_at))
        return;
    const QLocale plain = QLocale::c();
    const double seconds = static_cast<double>(since_start.elapsed()) / 1000.0;
    const double rate = seconds > 0 ? static_cast<double>(records) / seconds : 0;
    show(QStringLiteral("%1 records, %2 a second, %3 s, %4 of %5 tables")
             .arg(plain.toString(records), plain.toString(rate, 'f', 0), plain.toString(seconds, 'f', 1))
             .arg(tabs)
             .arg(tabs_in_all) +
         share(records, rows_expected));
}

void progress_display::show(const QString &line)
{
    const QString shown = escaped(line);
    if (in_place) // a line that is broken over two cannot be redrawn
        std::fputs(
            qPrintable(QString(u'\r' + shown.left(terminal_width(STDERR_FILENO) - 1) + QLatin1StringView("\033[K"))),
            stderr);
    else
        std::fputs(qPrintable(QString(shown + u'\n')), stderr);
    std::fflush(stderr);
    line_drawn = in_place;
    next_line_at = since_start.elapsed() + (in_place ? milliseconds_between_redraws : milliseconds_between_lines);
}
