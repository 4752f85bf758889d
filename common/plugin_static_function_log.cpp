/// The debug log: its lines, its file, its encipherment. Lines are put together as bytes of the local 8-bit encoding,
/// in memory that is reused.
#include "common/encryptor_string.h"
#include "common/log_line.h"
#include "common/plugin_static_function.h"

#include <QDateTime>
#include <QDebug>
#include <QHash>

namespace {

constexpr char end_of_enciphered_line[] = "<[{()}]>";

/// The edition; an engine type that is not set or unknown shows up in every line as a failure.
QByteArray edition()
{
    switch (plugin_static_function::type_engine_int) {
    case 0:
        return "TALVO_BENCH";
    case 1:
        return "TALVO_SWEEP";
    case 2:
        return "TALVO_PROBE";
    default:
        return " -----FAILED----- to find Engine Type ][" + QByteArray::number(plugin_static_function::type_engine_int);
    }
}

/// The beginning of a line, up to the function's name: local time and edition. Made once a second.
const QByteArray &beginning_of_line()
{
    static qint64 second_of_text = -1;
    static int engine_of_text = 0;
    static QByteArray text;
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    if (now != second_of_text || engine_of_text != plugin_static_function::type_engine_int) {
        const QString time = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MMM-ddThh-mm-ss"));
        text = '[' + time.toLocal8Bit() + "][" + edition() + "][Artifacts Extraction][";
        second_of_text = now;
        engine_of_text = plugin_static_function::type_engine_int;
    }
    return text;
}

/// "gmail::pub_extract_artifacts" from "virtual void gmail::pub_extract_artifacts()".
QByteArray function_name(const QString &function_info)
{
    const QStringView signature = QStringView(function_info).trimmed();
    if (signature.isEmpty())
        return "FUNCTION INFO IS EMPTY ---FAILED--- debug!!!";
    const QStringView before_parameters = signature.left(signature.indexOf(u'(')).trimmed();
    return before_parameters.mid(before_parameters.lastIndexOf(u' ') + 1).toLocal8Bit();
}

/// Lines that could not be written to the debug file (a full disk). A log that only looks whole would hide failures, so
/// the number of missing lines is logged as soon as a line can be written again.
struct lost_lines
{
    qint64 count = 0;
    bool last_is_cut_off = false; ///< part of it is in the file
};
lost_lines lost;

/// One unbuffered write a line: a crash loses at most the line being written. False when it was not written whole.
/// `line` is used up.
bool append_to_file(QByteArray &line)
{
    using log = plugin_static_function;
    const bool enciphered = log::debug_encryption_status_bool;
    if (enciphered) {
        encryptor_string cipher; // a new one for each line, so that each piece can be deciphered by itself
        line = cipher.encryptToByteArray(line).toBase64() + end_of_enciphered_line;
    } else {
        line.append('\n');
    }
    if (lost.last_is_cut_off)
        line.prepend(enciphered ? end_of_enciphered_line : "\n");
    const qint64 written = log::debug_file_regular_QFile.write(line);
    if (written > 0)
        lost.last_is_cut_off = written < line.size();
    return written == line.size();
}

/// True when no lines are missing, or when the file has a line that says how many are.
bool log_lost_lines()
{
    if (lost.count == 0)
        return true;
    QByteArray line = beginning_of_line() +
                      "plugin_static_function::app_debug]:-- [debug log] ----FAILED---- lines "
                      "that could not be written: " +
                      QByteArray::number(lost.count);
    if (append_to_file(line))
        lost.count = 0;
    return lost.count == 0;
}

/// One line to the terminal and the file, as the settings say.
void write_line(QByteArrayView function, QByteArrayView message)
{
    using log = plugin_static_function;
    static QByteArray line;
    line.resize(0);
    line.append(beginning_of_line()).append(function).append("]:-- ").append(message);
    if (log::debug_print_on_terminal_bool)
        qDebug().noquote() << QString::fromLocal8Bit(line);
    if (!log::debug_print_in_file_bool || !log::debug_file_regular_QFile.isOpen())
        return;
    if (!log_lost_lines() || !append_to_file(line))
        ++lost.count;
}

} // namespace

void plugin_static_function::app_debug(QString message, QString function_info)
{
    if (debug_mode_status_bool)
        write_line(function_name(function_info), message.toLocal8Bit());
}

/// Each function's name is cut out of its signature once.
void write_log_line(const log_head &head, std::initializer_list<QStringView> pieces)
{
    static QHash<const void *, QByteArray> names;
    static QByteArray message;
    QByteArray &name = names[head.from.identity()];
    if (name.isEmpty())
        name = function_name(head.from.signature());
    message.resize(0);
    message.append(head.text.data(), head.text.size());
    for (const QStringView piece : pieces)
        message.append(piece.toLocal8Bit());
    write_line(name, message);
}

void plugin_static_function::open_debug_file()
{
    if (!debug_mode_status_bool || !debug_print_in_file_bool)
        return;
    close_debug_file();
    debug_file_regular_QFile.setFileName(debug_file_path_QString);
    debug_file_regular_QFile.open(QIODevice::Append | QIODevice::Unbuffered);
}

void plugin_static_function::close_debug_file()
{
    if (!debug_file_regular_QFile.isOpen())
        return;
    log_lost_lines();
    lost = {};
    debug_file_regular_QFile.flush();
    debug_file_regular_QFile.close();
}

QString plugin_static_function::encrypt_string(QString text, QString)
{
    return text.isEmpty() ? QString() : encryptor_string().encryptToString(text);
}
