#include "extractors/takeout/mbox_splitter.h"

#include "extractors/takeout/local_text.h"

#include <QIODevice>

#include <cstring>

namespace {

constexpr qsizetype max_separator_mark = 8; // bytes: "From " after a byte order mark

/// Bytes of memory kept for the next message; a larger message's memory is freed.
constexpr qsizetype kept_capacity = 8 * 1024 * 1024;

/// The first line of `lines`, line feed included.
QByteArrayView first_line(QByteArrayView lines)
{
    const qsizetype line_feed = lines.indexOf('\n');
    return line_feed < 0 ? lines : lines.first(line_feed + 1);
}

/// Conversion to text drops a byte order mark, so a separator after one counts.
bool is_separator(QByteArrayView line)
{
    switch (line.front()) { // rules out nearly every line
    case 'F':
        return line.startsWith("From ");
    case '\xEF':
        return line.startsWith("\xEF\xBB\xBF"
                               "From ");
    default:
        return false;
    }
}

/// Where the first separator line of `lines` begins; their end when there is none. `lines` begins with a line.
qsizetype find_separator(QByteArrayView lines)
{
    const char *const end = lines.end();
    for (const char *line = lines.begin(); line != end;) {
        if (is_separator({line, end}))
            return line - lines.begin();
        const void *line_feed = std::memchr(line, '\n', static_cast<std::size_t>(end - line));
        line = line_feed ? static_cast<const char *>(line_feed) + 1 : end;
    }
    return lines.size();
}

/// QByteArray::append copies everything when it grows; resize lets the memory grow in place.
void append_bytes(QByteArray &message, QByteArrayView bytes)
{
    const qsizetype size = message.size();
    message.resize(size + bytes.size());
    std::copy(bytes.begin(), bytes.end(), message.begin() + size);
}

} // namespace

mbox_splitter::mbox_splitter(QIODevice &mail_file, qsizetype bytes_of_block)
    : file(mail_file)
    , block_size(bytes_of_block)
{
    block.resize(block_size);
}

/// Move the bytes that are not taken in yet to the beginning of the block and read more after them; false when the
/// device has no more.
bool mbox_splitter::fill()
{
    std::copy(block.cbegin() + at, block.cbegin() + filled, block.begin());
    filled -= at;
    at = 0;
    if (block.size() > block_size && filled < block_size / 2) {
        block.resize(block_size); // the long line has ended
        block.squeeze();
    }
    if (block.size() < filled + block_size / 2)
        block.resize(block.size() * 2); // a line longer than the block
    const qint64 count = file.read(block.data() + filled, block.size() - filled);
    device_failed = count < 0;
    device_ended = count <= 0;
    const QByteArrayView new_bytes(block.constData() + filled, qMax<qint64>(count, 0));
    // The last line of the file needs no line feed.
    end_of_lines = device_ended ? filled : filled + new_bytes.lastIndexOf('\n') + 1;
    const bool no_line_ends = !device_ended && end_of_lines == filled;
    filled += new_bytes.size();
    if (no_line_ends)
        end_of_lines = filled < block_size / 2 ? 0 : end_of_piece();
    return !device_ended;
}

/// A position at which the long line can be cut without changing how its bytes are converted: between two
/// ASCII bytes. 0 when there is no such place after the mark of a separator.
qsizetype mbox_splitter::end_of_piece() const
{
    const auto is_ascii = [this](qsizetype place) { return static_cast<uchar>(block.at(place)) < 0x80; };
    for (qsizetype end = filled - 1; end > max_separator_mark; --end) {
        if (is_ascii(end - 1) && is_ascii(end))
            return end;
    }
    return 0;
}

mbox_splitter::progress mbox_splitter::read()
{
    while (at >= end_of_lines && fill()) {}
    const QByteArrayView lines(block.constData() + at, end_of_lines - at);
    if (lines.isEmpty())
        return device_failed ? progress::read_failed : progress::file_ended;

    const qsizetype begin = at_separator || inside_line ? first_line(lines).size() : 0;
    const qsizetype separator = begin + find_separator(lines.sliced(begin));
    if (inside_message)
        append(lines.first(separator));
    at += separator;
    at_separator = separator < lines.size();
    inside_line = !at_separator && lines.back() != '\n';
    const bool complete = inside_message && at_separator;
    inside_message = inside_message || at_separator;
    if (!complete && message_buffer.size() > max_message)
        return progress::too_large;
    return complete ? progress::message_complete : progress::reading;
}

/// Nearly all lines are taken unchanged; only those that conversion to text would alter are converted.
void mbox_splitter::append(QByteArrayView lines)
{
    while (true) {
        const qsizetype surviving = local_text::surviving_lines(lines);
        append_bytes(message_buffer, lines.first(surviving));
        if (surviving == lines.size())
            return;
        const QByteArrayView odd_line = first_line(lines.sliced(surviving));
        append_bytes(message_buffer, local_text::converted(odd_line));
        lines = lines.sliced(surviving + odd_line.size());
    }
}

void mbox_splitter::drop_message()
{
    if (message_buffer.capacity() > kept_capacity)
        message_buffer = QByteArray();
    else
        message_buffer.resize(0);
}

void mbox_splitter::give_up_message()
{
    message_buffer = QByteArray();
    inside_message = false;
}
