#include "host/terminal.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int default_width = 80;

/// The error that ended standard output; 0 while it works.
int output_error = 0;

/// Control characters, line ends, and marks that change the direction of writing.
bool is_obeyed(char16_t unit)
{
    return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F) || unit == 0x061C || unit == 0x200E || unit == 0x200F ||
           (unit >= 0x2028 && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
}

QString hexadecimal(char16_t unit, int digits)
{
    return QString::number(unit, 16).toUpper().rightJustified(digits, u'0');
}

void write_out(QByteArrayView bytes)
{
    if (output_error != 0)
        return;
    const auto size = static_cast<std::size_t>(bytes.size());
    errno = 0;
    if (std::fwrite(bytes.data(), 1, size, stdout) != size)
        output_error = errno != 0 ? errno : EIO;
}

/// JSON text: its own line feeds stay, all other characters to escape are inside strings.
void print_json_text(const QByteArray &json)
{
    QString text;
    for (const QChar each : QString::fromUtf8(json)) {
        if (each != u'\n' && is_obeyed(each.unicode()))
            text += QLatin1StringView("\\u") + hexadecimal(each.unicode(), 4);
        else
            text += each;
    }
    write_out(text.toUtf8());
}

} // namespace

QString escaped(const QString &text)
{
    QString result;
    qsizetype copied = 0; // most texts have nothing to escape and are not copied
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t unit = text.at(i).unicode();
        if (!is_obeyed(unit))
            continue;
        result += QStringView(text).sliced(copied, i - copied);
        result += unit < 0x100 ? QString(u"\\x" + hexadecimal(unit, 2)) : QString(u"\\u" + hexadecimal(unit, 4));
        copied = i + 1;
    }
    return copied == 0 ? text : QString(result + QStringView(text).sliced(copied));
}

QByteArray escaped_utf8(QByteArrayView utf8)
{
    return escaped(QString::fromUtf8(utf8)).toUtf8();
}

void print(const QString &line)
{
    write_out((escaped(line) + u'\n').toLocal8Bit());
}

void print_json(const QJsonObject &object)
{
    print_json_text(QJsonDocument(object).toJson(QJsonDocument::Indented));
}

void print_json(const QJsonArray &array)
{
    print_json_text(QJsonDocument(array).toJson(QJsonDocument::Indented));
}

void print_bytes(QByteArrayView bytes)
{
    write_out(bytes);
}

bool output_is_closed()
{
    return output_error != 0;
}

void complain(const QString &line)
{
    std::fflush(stdout);
    std::fprintf(stderr, "gmail_host: %s\n", escaped(line).toLocal8Bit().constData());
}

exit_status refuse(const refusal &why, bool as_json)
{
    if (as_json)
        print_json(QJsonObject{
            {QStringLiteral("state"), is_cancel(why.status) ? QStringLiteral("cancelled") : QStringLiteral("refused")},
            {QStringLiteral("exit_status"), int(why.status)},
            {QStringLiteral("message"), why.text}});
    complain(why.text);
    return why.status;
}

exit_status finish_output(exit_status status)
{
    errno = 0;
    if ((std::fflush(stdout) != 0 || std::ferror(stdout) != 0) && output_error == 0)
        output_error = errno != 0 ? errno : EIO;
    if (output_error == 0 || output_error == EPIPE)
        return status;
    complain(QStringLiteral("standard output: cannot be written (%1); part of what the program printed is missing")
                 .arg(QString::fromLocal8Bit(std::strerror(output_error))));
    return status == exit_status::done ? exit_status::output_lost : status;
}

int terminal_width(int descriptor)
{
    winsize size = {};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : default_width;
}
