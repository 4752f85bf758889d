#include "host/progress.h"

#include <QLocale>

#include <cstdio>
#include <unistd.h>

namespace {

constexpr qint64 milliseconds_between_lines = 3000;

bool is_capable_terminal()
{
    return isatty(STDERR_FILENO) != 0 && qgetenv("TERM") != "dumb";
}

} // namespace

progress_display::progress_display(int expected_tabs, bool quiet)
    : tabs_in_all(expected_tabs)
    , silent(quiet)
    , in_place(is_capable_terminal())
    , next_line_at(milliseconds_between_lines)
{
    since_start.start();
}

void progress_display::finish()
{
    if (line_drawn)
        std::fputs("\r\033[K", stderr);
    line_drawn = false;
}

void progress_display::show(qint64 records, int tabs)
{
    if (silent)
        return;
    if (in_place) {
        std::fputs(qPrintable(u'\r' + text(records, tabs) + QLatin1StringView("\033[K")), stderr);
        line_drawn = true;
    } else if (since_start.elapsed() >= next_line_at) {
        std::fputs(qPrintable(text(records, tabs) + u'\n'), stderr);
        next_line_at = since_start.elapsed() + milliseconds_between_lines;
    }
    std::fflush(stderr);
}

QString progress_display::text(qint64 records, int tabs) const
{
    const QLocale plain = QLocale::c();
    const double seconds = static_cast<double>(since_start.elapsed()) / 1000.0;
    const double rate = seconds > 0 ? static_cast<double>(records) / seconds : 0;
    return QStringLiteral("%1 records, %2 a second, %3 s, %4 of %5 tabs")
        .arg(plain.toString(records), plain.toString(rate, 'f', 0), plain.toString(seconds, 'f', 1))
        .arg(tabs)
        .arg(tabs_in_all);
}
