#include "host/log_command.h"

#include "host/command_line.h"
#include "host/log_file.h"
#include "host/terminal.h"

#include <QtGlobal>

#include <unistd.h>

namespace {

exit_status print_log(const QString &path)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {}); // the cipher's warnings
    log_file log(path);
    if (!log.open())
        return refuse({exit_status::bad_source, path + QLatin1StringView(": cannot be read (") + log.error() + u')'});
    const bool on_terminal = isatty(STDOUT_FILENO) != 0; // a file or a pipe gets the bytes unchanged
    exit_status status = exit_status::done;
    log_file::piece piece;
    for (qint64 number = 1; log.next(piece); ++number) {
        if (output_is_closed())
            break;
        if (piece.readable) {
            print_bytes(on_terminal ? escaped_utf8(piece.line) : piece.line);
            print_bytes("\n");
            continue;
        }
        status = exit_status::done_with_failures;
        complain(QStringLiteral("%1: piece %2, %3 bytes at offset %4, cannot be deciphered")
                     .arg(path)
                     .arg(number)
                     .arg(piece.size)
                     .arg(piece.offset));
    }
    return status;
}

} // namespace

void add_log_command(command_line &line)
{
    const auto path = std::make_shared<QString>();
    const sub_command command =
        line.add("log", "Print a debug log, deciphered if necessary", [path] { return print_log(*path); });
    command.text("FILE", *path, "the log").required();
}
