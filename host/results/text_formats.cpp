#include "host/results/text_formats.h"

#include "host/results/time_text.h"

#include <QUtf8StringView>

#include <array>
#include <charconv>
#include <cmath>

namespace {

/// A table of the characters at which copying stops: one look-up per byte.
constexpr std::array<bool, 256> stops_at(std::string_view characters, bool controls)
{
    std::array<bool, 256> stops = {};
    for (const char each : characters)
        stops[static_cast<uchar>(each)] = true;
    for (std::size_t control = 0; controls && control < 0x20; ++control)
        stops[control] = true;
    return stops;
}

constexpr auto quoted_in_csv = stops_at(",\"\r\n", false);
constexpr auto escaped_in_json = stops_at("\"\\", true);

bool has_one_of(QByteArrayView text, const std::array<bool, 256> &stops)
{
    return std::any_of(text.begin(), text.end(), [&stops](char each) { return stops[static_cast<uchar>(each)]; });
}

/// True for a text that a spreadsheet would calculate instead of showing it: judged by its first character, also in
/// full width, after blanks and control characters that some programs skip.
bool looks_like_formula(QByteArrayView text)
{
    while (!text.isEmpty() && static_cast<uchar>(text.front()) <= ' ')
        text = text.sliced(1);
    constexpr std::string_view narrow = "=+-@";
    constexpr std::string_view wide = "\xef\xbc\x9d\xef\xbc\x8b\xef\xbc\x8d\xef\xbc\xa0";
    const std::string_view begin(text.data(), static_cast<std::size_t>(qMin(text.size(), qsizetype(3))));
    return !begin.empty() &&
           (narrow.find(begin.front()) != narrow.npos || (begin.front() == '\xef' && wide.find(begin) != wide.npos));
}

bool is_utf8(QByteArrayView text)
{
    return QUtf8StringView(text.data(), text.size()).isValidUtf8();
}

template <typename number>
void write_number(export_file &file, number value)
{
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    file.write(QByteArrayView(digits.data(), end - digits.data()));
}

/// False when the value is not a time, or cannot be written as one.
bool write_time(export_file &file, const cell &value, const result_column &column, bool in_quotes)
{
    utc_text_buffer text;
    if (!column.is_time || (value.integer == 0 && column.zero_is_none) || !write_utc(value.integer, text))
        return false;
    if (in_quotes)
        file.write('"');
    file.write(QByteArrayView(text.data(), qsizetype(text.size())));
    if (in_quotes)
        file.write('"');
    return true;
}

} // namespace

csv_file::csv_file(const QString &path, const QList<result_column> &columns)
    : file(path)
{
    file.write("\xef\xbb\xbf");
    for (const result_column &each : columns)
        add(each.name);
    end_row();
}

void csv_file::separate()
{
    if (!at_begin_of_row)
        file.write(',');
    at_begin_of_row = false;
}

void csv_file::add(const cell &value, const result_column &column)
{
    switch (value.stored_as) {
    case cell::type::null:
        separate();
        break;
    case cell::type::integer:
        separate();
        if (!write_time(file, value, column, false))
            write_number(file, value.integer);
        break;
    case cell::type::real:
        separate();
        write_number(file, value.real);
        break;
    case cell::type::text:
        add(value.bytes);
        break;
    case cell::type::blob:
        add(value.bytes.toByteArray().toHex());
        break;
    }
}

void csv_file::add(QByteArrayView text)
{
    separate();
    if (is_utf8(text) && !text.contains('\0')) {
        add_text(text);
        return;
    }
    ++with_replacements;
    add_text(QString::fromUtf8(text).replace(QChar(u'\0'), QChar(QChar::ReplacementCharacter)).toUtf8());
}

void csv_file::add(qint64 number)
{
    separate();
    write_number(file, number);
}

void csv_file::add_text(QByteArrayView text)
{
    if (text.isEmpty()) {
        file.write("\"\""); // NULL is an empty cell
        return;
    }
    const bool needs_apostrophe = looks_like_formula(text);
    with_apostrophe += needs_apostrophe;
    if (needs_apostrophe || has_one_of(text, quoted_in_csv))
        add_quoted(text, needs_apostrophe);
    else
        file.write(text);
}

void csv_file::add_quoted(QByteArrayView text, bool needs_apostrophe)
{
    file.write('"');
    if (needs_apostrophe)
        file.write('\'');
    for (qsizetype quote = text.indexOf('"'); quote >= 0; quote = text.indexOf('"')) {
        file.write(text.first(quote + 1));
        file.write('"');
        text = text.sliced(quote + 1);
    }
    file.write(text);
    file.write('"');
}

void csv_file::end_row()
{
    file.write("\r\n");
    at_begin_of_row = true;
}

void write_json_string(export_file &file, QByteArrayView text)
{
    if (!is_utf8(text)) {
        write_json_string(file, QString::fromUtf8(text).toUtf8());
        return;
    }
    constexpr char digits[] = "0123456789abcdef";
    file.write('"');
    for (qsizetype begin = 0, at = 0; begin < text.size(); begin = at) {
        while (at < text.size() && !escaped_in_json[static_cast<uchar>(text.at(at))])
            ++at;
        file.write(text.sliced(begin, at - begin));
        if (at == text.size())
            break;
        const char each = text.at(at++);
        file.write('\\');
        switch (each) {
        case '"':
        case '\\':
            file.write(each);
            break;
        case '\n':
            file.write('n');
            break;
        case '\r':
            file.write('r');
            break;
        case '\t':
            file.write('t');
            break;
        default:
            file.write("u00");
            file.write(digits[static_cast<uchar>(each) >> 4]);
            file.write(digits[static_cast<uchar>(each) & 15]);
        }
    }
    file.write('"');
}

void write_json_value(export_file &file, const cell &value, const result_column &column)
{
    switch (value.stored_as) {
    case cell::type::null:
        file.write("null");
        break;
    case cell::type::integer:
        if (!write_time(file, value, column, true))
            write_number(file, value.integer);
        break;
    case cell::type::real:
        if (std::isfinite(value.real))
            write_number(file, value.real);
        else
            file.write("null"); // JSON has no such number
        break;
    case cell::type::text:
        write_json_string(file, value.bytes);
        break;
    case cell::type::blob:
        write_json_string(file, value.bytes.toByteArray().toHex());
        break;
    }
}
