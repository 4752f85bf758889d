#include "host/reading/transfer_encoding.h"

#include "host/reading/charsets.h"

#include <array>
#include <cstring>

namespace {

constexpr uchar no_value = 64;
constexpr uchar line_end = 65;

constexpr std::array<uchar, 256> base64_values = [] {
    std::array<uchar, 256> values = {};
    values.fill(no_value);
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (uchar i = 0; i < 64; ++i)
        values[static_cast<uchar>(alphabet[i])] = i;
    for (const char c : {' ', '\t', '\r', '\n'})
        values[static_cast<uchar>(c)] = line_end;
    return values;
}();

uchar base64_value(char c)
{
    return base64_values[static_cast<uchar>(c)];
}

int hex_value(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

/// Takes groups of four letters from the text as long as nothing else is between them.
const char *decode_plain_groups(const char *in, const char *end, char *&out)
{
    while (end - in >= 4) {
        const uchar a = base64_value(in[0]), b = base64_value(in[1]), c = base64_value(in[2]), d = base64_value(in[3]);
        if ((a | b | c | d) >= no_value)
            break;
        const unsigned bits = unsigned(a) << 18 | unsigned(b) << 12 | unsigned(c) << 6 | d;
        *out++ = static_cast<char>(bits >> 16);
        *out++ = static_cast<char>(bits >> 8);
        *out++ = static_cast<char>(bits);
        in += 4;
    }
    return in;
}

// ---- uuencode -------------------------------------------------------------------------------------------------------

QByteArrayView take_line(QByteArrayView &text)
{
    const qsizetype line_feed = text.indexOf('\n');
    const QByteArrayView line = line_feed < 0 ? text : text.first(line_feed + 1);
    text = text.sliced(line.size());
    return line;
}

bool is_begin_line(QByteArrayView line)
{
    if (!line.startsWith("begin "))
        return false;
    const QByteArrayView rest = line.sliced(6);
    const qsizetype blank = rest.indexOf(' ');
    return blank > 0 && std::all_of(rest.begin(), rest.begin() + blank, [](char c) { return c >= '0' && c <= '7'; });
}

/// Letters that are missing at the end of a line are blanks that were lost on the way.
void append_uu_line(QByteArrayView line, QByteArray &bytes)
{
    const auto value = [&line](qsizetype place) {
        const int c = place < line.size() ? static_cast<uchar>(line[place]) : ' ';
        return c == '\r' || c == '\n' ? 0 : (c - ' ') & 0x3f;
    };
    const int count = value(0);
    for (int i = 0; i < count; ++i) {
        const qsizetype first = 1 + i / 3 * 4 + i % 3;
        bytes += static_cast<char>(value(first) << (2 + i % 3 * 2) | value(first + 1) >> (4 - i % 3 * 2));
    }
}

bool decode_uu(QByteArrayView text, QByteArray &bytes, bool &has_end)
{
    while (true) {
        if (text.isEmpty())
            return false;
        if (is_begin_line(take_line(text)))
            break;
    }
    while (!text.isEmpty()) {
        const QByteArrayView line = take_line(text);
        has_end = line.trimmed() == "end";
        if (has_end)
            break;
        append_uu_line(line, bytes);
    }
    return true;
}

QByteArray decoded_uu(QByteArrayView stored, const QByteArray &what, QByteArrayList &problems)
{
    QByteArray bytes;
    bool has_end = false;
    if (!decode_uu(stored, bytes, has_end)) {
        add_problem(problems, what + " is declared as uuencode but has no \"begin\" line; it is kept as stored.");
        return stored.toByteArray();
    }
    if (!has_end)
        add_problem(problems, what + " is uuencode without its \"end\" line; it may be cut short.");
    return bytes;
}

} // namespace

base64_result decoded_mail_base64(QByteArrayView text)
{
    base64_result result;
    result.bytes.resize(text.size() / 4 * 3 + 3);
    char *out = result.bytes.data();
    unsigned bits = 0;
    int letters = 0, pads = 0; // of the current group
    const char *in = text.begin();
    for (; in != text.end(); ++in) {
        if (letters == 0)
            in = decode_plain_groups(in, text.end(), out);
        if (in == text.end())
            break;
        const uchar value = base64_value(*in);
        if (*in == '=') {
            if (letters >= 2 && letters + ++pads >= 4)
                break;
            continue;
        }
        if (value >= no_value) {
            result.has_others |= value == no_value;
            continue;
        }
        pads = 0;
        bits = bits << 6 | value;
        if (++letters == 4) {
            for (const int shift : {16, 8, 0})
                *out++ = static_cast<char>(bits >> shift);
            letters = 0;
        }
    }
    for (int i = 1; i < letters; ++i)
        *out++ = static_cast<char>(bits << (24 - 6 * letters) >> (24 - 8 * i));
    result.is_cut = letters == 1;
    result.goes_on = std::any_of(in, text.end(), [](char c) { return base64_value(c) < no_value; });
    result.bytes.resize(out - result.bytes.data());
    return result;
}

QByteArray decoded_quoted_printable(QByteArrayView text, bool in_word)
{
    QByteArray bytes(text.size(), Qt::Uninitialized);
    char *out = bytes.data();
    const char *const end = text.end();
    for (const char *in = text.begin(); in != end;) {
        if (in_word && *in == '_') {
            *out++ = ' ';
            ++in;
        } else if (*in != '=') {
            *out++ = *in++;
        } else if (end - in == 1) {
            break;
        } else if (in[1] == '\n' || in[1] == '\r') { // a soft line break
            const void *line_feed = std::memchr(in, '\n', static_cast<std::size_t>(end - in));
            in = line_feed ? static_cast<const char *>(line_feed) + 1 : end;
        } else if (in[1] == '=') { // written by faulty encoders
            *out++ = '=';
            in += 2;
        } else if (end - in > 2 && hex_value(in[1]) >= 0 && hex_value(in[2]) >= 0) {
            *out++ = static_cast<char>(hex_value(in[1]) << 4 | hex_value(in[2]));
            in += 3;
        } else {
            *out++ = *in++;
        }
    }
    bytes.resize(out - bytes.data());
    return bytes;
}

QByteArray decoded_transfer(QByteArrayView stored, const QByteArray &encoding, const QByteArray &what,
                            QByteArrayList &problems)
{
    if (encoding == "base64") {
        base64_result result = decoded_mail_base64(stored);
        if (result.is_cut)
            add_problem(problems, what + " ends in the middle of its base64; its last letter was left out.");
        if (result.goes_on)
            add_problem(problems, what + " has text after the end of its base64, which is not decoded.");
        if (result.has_others)
            add_problem(problems, what + " has invalid characters in its base64; they were skipped.");
        return result.bytes;
    }
    if (encoding == "quoted-printable")
        return decoded_quoted_printable(stored, false);
    static const QByteArrayList uu_names = {"x-uuencode", "uuencode", "uue", "x-uue"};
    if (uu_names.contains(encoding))
        return decoded_uu(stored, what, problems);
    static const QByteArrayList plain_names = {"", "7bit", "8bit", "binary"};
    if (!plain_names.contains(encoding))
        add_problem(problems,
                    what + " has an unknown transfer encoding (" + encoding.left(64) + "); it is kept as stored.");
    return stored.toByteArray();
}
