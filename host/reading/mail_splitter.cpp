#include "host/reading/mail_splitter.h"

#include <QIODevice>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace {

constexpr QByteArrayView from("From ");
constexpr QByteArrayView byte_order_mark("\xEF\xBB\xBF");

constexpr qsizetype block_size = 256 * 1024;
constexpr qsizetype bytes_looked_back = 8;         // an empty line, a byte order mark
constexpr qsizetype bytes_looked_ahead = 8 * 1024; // a "From " line and the name of the field after it

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

bool is_letter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool all_digits(QByteArrayView text, qsizetype min_size, qsizetype max_size)
{
    return text.size() >= min_size && text.size() <= max_size && std::all_of(text.begin(), text.end(), is_digit);
}

template <std::size_t Count>
bool is_one_of(QByteArrayView word, const std::array<const char *, Count> &names)
{
    return std::any_of(names.begin(), names.end(), [word](const char *name) { return word == QByteArrayView(name); });
}

bool is_month(QByteArrayView word)
{
    static constexpr std::array names = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    return is_one_of(word, names);
}

bool is_weekday(QByteArrayView word)
{
    static constexpr std::array names = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    return is_one_of(word, names);
}

bool is_time(QByteArrayView word)
{
    return (word.size() == 5 || (word.size() == 8 && word[5] == ':' && all_digits(word.sliced(6), 2, 2))) &&
           all_digits(word.first(2), 2, 2) && word[2] == ':' && all_digits(word.sliced(3, 2), 2, 2);
}

/// "+0100", "GMT", and each of the two words of "MET DST".
bool is_zone(QByteArrayView word)
{
    if (word.startsWith('+') || word.startsWith('-'))
        return all_digits(word.sliced(1), 4, 4);
    return word.size() <= 5 && std::all_of(word.begin(), word.end(), is_letter);
}

/// The words of a line from its end, nine at most: as many as a date has.
std::vector<QByteArrayView> last_words(QByteArrayView line)
{
    constexpr std::size_t max_words = 9;
    std::vector<QByteArrayView> words;
    for (line = line.trimmed(); !line.isEmpty() && words.size() < max_words; line = line.trimmed()) {
        qsizetype begin = line.size();
        while (begin > 0 && line[begin - 1] != ' ' && line[begin - 1] != '\t')
            --begin;
        words.push_back(line.sliced(begin));
        line = line.first(begin);
    }
    return words;
}

/// A field's name and its colon.
bool is_header_line(QByteArrayView line)
{
    const auto end = std::find_if(line.begin(), line.end(), [](char c) { return c <= ' ' || c >= 0x7f || c == ':'; });
    return end != line.begin() && end != line.end() && *end == ':';
}

} // namespace

bool ends_in_date(QByteArrayView from_line)
{
    const std::vector<QByteArrayView> words = last_words(from_line.sliced(from.size()));
    auto word = words.begin();
    const auto skip_zone = [&] {
        for (int i = 0; i < 2 && word != words.end() && is_zone(*word); ++i)
            ++word;
    };
    const auto take = [&](bool fits) {
        if (fits)
            ++word;
        return fits;
    };
    skip_zone();
    if (word == words.end() || !take(all_digits(*word, 4, 4)))
        return false;
    skip_zone();
    return word != words.end() && take(is_time(*word)) && word != words.end() && take(all_digits(*word, 1, 2)) &&
           word != words.end() && take(is_month(*word)) && word != words.end() && is_weekday(*word);
}

mail_splitter::mail_splitter(QIODevice &mail_file)
    : file(mail_file)
{
    block.resize(block_size);
}

/// Read more bytes and drop those that are no longer needed.
void mail_splitter::fill()
{
    const qsizetype kept = std::max<qsizetype>(at - bytes_looked_back, 0);
    std::copy(block.cbegin() + kept, block.cbegin() + filled, block.begin());
    block_offset += kept;
    at -= kept;
    filled -= kept;
    const qint64 count = file.read(block.data() + filled, block.size() - filled);
    device_failed = count < 0;
    device_ended = count <= 0;
    filled += std::max<qint64>(count, 0);
}

/// The next line from `at` on that starts with "From ", with or without a byte order mark before it; -1 when the bytes
/// that can be judged contain none, and `at` is then after them.
qsizetype mail_splitter::find_from_line()
{
    const qsizetype end = device_ended ? filled : std::max(at, filled - bytes_looked_ahead);
    const char *const bytes = block.constData();
    while (at < end) {
        const void *found = memmem(bytes + at, static_cast<std::size_t>(filled - at), from.data(),
                                   static_cast<std::size_t>(from.size()));
        const qsizetype place = found ? static_cast<const char *>(found) - bytes : filled;
        if (place >= end)
            break;
        at = place + from.size();
        const bool marked =
            place >= byte_order_mark.size() &&
            QByteArrayView(bytes + place - byte_order_mark.size(), byte_order_mark.size()) == byte_order_mark;
        const qsizetype line = marked ? place - byte_order_mark.size() : place;
        if (block_offset + line == 0 || (line > 0 && bytes[line - 1] == '\n'))
            return line;
    }
    at = std::max(at, end);
    return -1;
}

bool mail_splitter::begins_mail(qsizetype line) const
{
    const QByteArrayView rest(block.constData() + line, filled - line);
    const bool is_first = block_offset + line == 0;
    const bool marked = rest.startsWith(byte_order_mark);
    if (marked && !is_first)
        return false;
    const qsizetype line_feed = rest.indexOf('\n');
    const QByteArrayView from_line = (line_feed < 0 ? rest : rest.first(line_feed)).sliced(marked ? 3 : 0);
    if (from_line.size() > bytes_looked_ahead / 2 || !ends_in_date(from_line))
        return false;
    const QByteArrayView before(block.constData(), line);
    const bool after_empty_line = is_first || before.endsWith("\n\n") || before.endsWith("\n\r\n") ||
                                  (block_offset == 0 && (before == "\n" || before == "\r\n"));
    return after_empty_line || (line_feed >= 0 && is_header_line(rest.sliced(line_feed + 1)));
}

/// True when the line ends a mail, which is put into `mail`.
bool mail_splitter::take_from_line(qsizetype line, mail_place &mail)
{
    const qint64 offset = block_offset + line;
    const bool begins = begins_mail(line);
    bool ends = false;
    if (begins) {
        ends = current.ordinal > 0;
        if (!ends)
            before_first = offset;
        const qint64 ordinal = current.ordinal + 1;
        current.length = offset - current.offset;
        current.is_followed = true;
        mail = std::exchange(current, {.ordinal = ordinal, .offset = offset});
    }
    QList<row_separator> &separators = current.ordinal > 0 ? current.separators : early_separators;
    separators.append({++last_separator, offset});
    return ends;
}

bool mail_splitter::next(mail_place &mail)
{
    while (true) {
        while (!device_ended && filled - at <= bytes_looked_ahead)
            fill();
        const qsizetype line = find_from_line();
        if (line >= 0) {
            if (take_from_line(line, mail))
                return true;
        } else if (device_ended) {
            break;
        }
    }
    const qint64 size = block_offset + filled;
    if (current.ordinal == 0) {
        before_first = size;
        return false;
    }
    if (current.length < 0)
        return false;
    current.length = size - current.offset;
    mail = std::exchange(current, {.ordinal = current.ordinal, .length = -1}); // returned once
    return true;
}
