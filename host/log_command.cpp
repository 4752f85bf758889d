#include "host/log_command.h"

#include "host/log_file.h"
#include "host/terminal.h"

#include <QtGlobal>

exit_status run_log_command(const QString &path)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {}); // the cipher's warnings
    log_file log(path);
    if (!log.open())
        return refuse({exit_status::bad_source, path + QLatin1StringView(": cannot be read (") + log.error() + u')'});
    exit_status status = exit_status::done;
    log_file::piece piece;
    for (qint64 number = 1; log.next(piece); ++number) {
        if (piece.readable) {
            print(piece.line);
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
