#include "host/results/report_script.h"

#include <QFile>

#include <array>

namespace {

/// Bytes that are written as they are; 0xe2 begins the two line ends that only JavaScript knows.
constexpr std::array<bool, 256> plain_bytes = [] {
    std::array<bool, 256> plain = {};
    for (std::size_t byte = 0x20; byte < 256; ++byte)
        plain[byte] = byte != '"' && byte != '\\' && byte != '<' && byte != 0x7f && byte != 0xe2;
    return plain;
}();

void append_escape(QByteArray &out, uint code)
{
    constexpr char digits[] = "0123456789abcdef";
    const char escape[] = {
        '\\', 'u', digits[code >> 12 & 15], digits[code >> 8 & 15], digits[code >> 4 & 15], digits[code & 15]};
    out.append(escape, sizeof escape);
}

/// The special character at the beginning of `rest`; returns how many bytes it had.
qsizetype append_special(QByteArray &out, QByteArrayView rest)
{
    const auto byte = static_cast<uchar>(rest.front());
    if (byte == 0xe2) {
        const bool line_end = rest.size() > 2 && rest.at(1) == '\x80' && (rest.at(2) == '\xa8' || rest.at(2) == '\xa9');
        if (line_end)
            append_escape(out, 0x2000u | (static_cast<uchar>(rest.at(2)) & 0x3fu));
        else
            out.append(rest.front());
        return line_end ? 3 : 1;
    }
    if (byte == '"' || byte == '\\')
        out.append('\\').append(rest.front());
    else if (byte == '\n')
        out.append("\\n");
    else
        append_escape(out, byte);
    return 1;
}

} // namespace

void json_text::separate()
{
    if (!at_first)
        written.append(',');
    at_first = false;
}

void json_text::open(char bracket)
{
    separate();
    written.append(bracket);
    at_first = true;
}

void json_text::close(char bracket)
{
    written.append(bracket);
    at_first = false;
}

void json_text::key(const char *name)
{
    separate();
    written.append('"').append(name).append("\":");
    at_first = true;
}

void json_text::text(QByteArrayView utf8)
{
    if (!utf8.isValidUtf8()) {
        const QByteArray repaired = QString::fromUtf8(utf8).toUtf8();
        return text(QByteArrayView(repaired));
    }
    separate();
    written.append('"');
    for (qsizetype i = 0; i < utf8.size();) {
        qsizetype end = i;
        while (end < utf8.size() && plain_bytes[static_cast<uchar>(utf8.at(end))])
            ++end;
        written.append(utf8.data() + i, end - i);
        i = end < utf8.size() ? end + append_special(written, utf8.sliced(end)) : end;
    }
    written.append('"');
}

void json_text::text_or_null(QByteArrayView utf8)
{
    if (utf8.isEmpty())
        null();
    else
        text(utf8);
}

void json_text::number(qint64 value)
{
    separate();
    written.append(QByteArray::number(value));
}

void json_text::null()
{
    separate();
    written.append("null");
}

void json_text::value(const json_text &other)
{
    separate();
    written.append(other.written);
}

void json_text::clear()
{
    written.resize(0);
    at_first = true;
}

maybe_refusal write_script(const QString &path, const char *name, qint64 number, const json_text &data)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write("gmail_report(\"" + QByteArray(name) + "\"," + QByteArray::number(number) + ',');
        file.write(data.bytes());
        file.write(");\n");
        file.close();
        if (file.error() == QFileDevice::NoError)
            return {};
    }
    return refusal{exit_status::bad_result,
                   path + QLatin1StringView(": cannot be written (") + file.errorString() +
                       QLatin1StringView("); free some space, or choose another place with --out")};
}
