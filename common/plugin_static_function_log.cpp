/// The debug log: its lines, its file, its encipherment.
#include "common/encryptor_string.h"
#include "common/log_line.h"
#include "common/plugin_static_function.h"

#include <QDateTime>
#include <QDebug>

namespace {

constexpr char end_of_enciphered_line[] = "<[{()}]>";

/// The local time as the lines show it. Its text is made once a second: many lines share it.
const QString &time_stamp()
{
    static qint64 second_of_text = -1;
    static QString text;
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    if (now != second_of_text) {
        text = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MMM-ddThh-mm-ss"));
        second_of_text = now;
    }
    return text;
}

/// "][" and the edition; an engine type that is not set or unknown shows up in every line as a failure.
QString edition_part()
{
    switch (plugin_static_function::type_engine_int) {
    case 0:
        return QStringLiteral("][TALVO_BENCH");
    case 1:
        return QStringLiteral("][TALVO_SWEEP");
    case 2:
        return QStringLiteral("][TALVO_PROBE");
    default:
        return QLatin1StringView("][ -----FAILED----- to find Engine Type ][") +
               QString::number(plugin_static_function::type_engine_int);
    }
}

/// "gmail::pub_extract_artifacts" from "virtual void gmail::pub_extract_artifacts()".
QStringView function_name(QStringView function_info)
{
    const QStringView signature = function_info.trimmed();
    if (signature.isEmpty())
        return u"FUNCTION INFO IS EMPTY ---FAILED--- debug!!!";
    const QStringView before_parameters = signature.left(signature.indexOf(u'(')).trimmed();
    return before_parameters.mid(before_parameters.lastIndexOf(u' ') + 1);
}

} // namespace

void plugin_static_function::app_debug(QString message, QString function_info)
{
    if (!debug_mode_status_bool)
        return;
    const QString line = u'[' + time_stamp() + edition_part() + QLatin1StringView("][Artifacts Extraction][") +
                         function_name(function_info) + QLatin1StringView("]:-- ") + message;
    if (debug_print_on_terminal_bool)
        qDebug().noquote() << line;
    if (!debug_print_in_file_bool || !debug_file_regular_QFile.isOpen())
        return;
    if (debug_encryption_status_bool)
        debug_file_regular_QFile.write(encrypt_string(line, QString::fromLatin1(Q_FUNC_INFO)).toLocal8Bit() +
                                       end_of_enciphered_line);
    else
        debug_file_regular_QFile.write(line.toLocal8Bit() + '\n');
    debug_file_regular_QFile.flush(); // a crash loses at most the line being written
}

void plugin_static_function::open_debug_file()
{
    if (!debug_mode_status_bool || !debug_print_in_file_bool)
        return;
    close_debug_file();
    debug_file_regular_QFile.setFileName(debug_file_path_QString);
    debug_file_regular_QFile.open(QIODevice::Append);
}

void plugin_static_function::close_debug_file()
{
    if (!debug_file_regular_QFile.isOpen())
        return;
    debug_file_regular_QFile.flush();
    debug_file_regular_QFile.close();
}

QString plugin_static_function::encrypt_string(QString text, QString)
{
    if (text.isEmpty())
        return {};
    encryptor_string cipher; // a fresh one for each line, so that each piece can be deciphered by itself
    return cipher.encryptToString(text);
}

void write_log_line(const log_head &head, std::initializer_list<QStringView> pieces)
{
    QString message = head.text;
    for (const QStringView piece : pieces)
        message += piece;
    plugin_static_function::app_debug(message, head.from.signature());
}
