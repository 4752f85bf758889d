/// Lines for the one who runs the program.
#pragma once

#include "host/refusal.h"

#include <cstdio>

/// One line on standard output.
inline void print(const QByteArray &line)
{
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
    std::fputc('\n', stdout);
}
inline void print(const QString &line)
{
    print(line.toLocal8Bit());
}

/// One line on standard error, in the program's name.
inline void complain(const QString &line)
{
    std::fflush(stdout);
    std::fprintf(stderr, "gmail_host: %s\n", line.toLocal8Bit().constData());
}

/// Say why something is refused; returns the status to end with.
[[nodiscard]] inline exit_status refuse(const refusal &why)
{
    complain(why.text);
    return why.status;
}
