#include "host/progress.h"

#include "host/terminal.h"

#include <QLocale>

#include <cmath>
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

void progress_display::restart(const QString &what)
{
    phase = what;
    bytes_before = -1;
    max_share = 0;
    since_start.restart();
    next_line_at = in_place ? 0 : milliseconds_between_lines;
}

void progress_display::begin_phase(const QString &what)
{
    const std::lock_guard lock(mutex);
    restart(what);
}

void progress_display::begin_extraction(int tables)
{
    const std::lock_guard lock(mutex);
    restart({});
    tabs_in_all = tables;
}

void progress_display::expect_rows(qint64 rows)
{
    const std::lock_guard lock(mutex);
    rows_expected = rows;
}

void progress_display::finish()
{
    const std::lock_guard lock(mutex);
    if (line_drawn)
        std::fputs("\r\033[K", stderr);
    line_drawn = false;
}

/// ", 37 %, 12 s left"; empty when that is not known.
QString progress_display::share(qint64 done, qint64 in_all)
{
    if (in_all <= 0 || done <= 0 || done > in_all)
        return {};
    max_share = qMax(max_share, static_cast<double>(done) / static_cast<double>(in_all));
    const double seconds = static_cast<double>(since_start.elapsed()) / 1000.0;
    return QStringLiteral(", %1 %, %2 s left")
        .arg(std::floor(max_share * 100), 0, 'f', 0)
        .arg(seconds / max_share - seconds, 0, 'f', 0);
}

void progress_display::show_bytes(qint64 done, qint64 in_all)
{
    const std::lock_guard lock(mutex);
    if (phase.isEmpty())
        return;
    if (bytes_before < 0)
        bytes_before = done;
    if (silent || since_start.elapsed() < next_line_at)
        return;
    if (in_all <= 0) {
        show(phase);
        return;
    }
    done -= bytes_before;
    in_all -= bytes_before;
    show(QStringLiteral("%1: %2 of %3 MiB%4")
             .arg(phase)
             .arg(static_cast<double>(done) / bytes_of_mebibyte, 0, 'f', 1)
             .arg(static_cast<double>(in_all) / bytes_of_mebibyte, 0, 'f', 1)
             .arg(share(done, in_all)));
}

void progress_display::show_bytes(const QString &what, qint64 done, qint64 in_all)
{
    {
        const std::lock_guard lock(mutex);
        if (phase != what)
            restart(what);
    }
    show_bytes(done, in_all);
}

void progress_display::show_records(qint64 records, int tabs)
{
    const std::lock_guard lock(mutex);
    if (silent || (!in_place && since_start.elapsed() < next_line_at))
        return;
    const QLocale plain = QLocale::c();
    const double seconds = static_cast<double>(since_start.elapsed()) / 1000.0;
    const double rate = seconds > 0 ? static_cast<double>(records) / seconds : 0;
    show(QStringLiteral("extracting: %1 rows%2, %3 a second, %4 s, %5 of %6 tables")
             .arg(plain.toString(records), share(records, rows_expected), plain.toString(rate, 'f', 0),
                  plain.toString(seconds, 'f', 1))
             .arg(tabs)
             .arg(tabs_in_all));
}

void progress_display::show(const QString &line)
{
    const QString shown = escaped(line);
    if (in_place) // a line that wraps cannot be redrawn
        std::fputs(
            qPrintable(QString(u'\r' + shown.left(terminal_width(STDERR_FILENO) - 1) + QLatin1StringView("\033[K"))),
            stderr);
    else
        std::fputs(qPrintable(QString(shown + u'\n')), stderr);
    std::fflush(stderr);
    line_drawn = in_place;
    next_line_at = since_start.elapsed() + (in_place ? milliseconds_between_redraws : milliseconds_between_lines);
}
