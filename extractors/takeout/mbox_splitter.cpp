#include "extractors/takeout/mbox_splitter.h"

#include "extractors/takeout/local_text.h"

#include <QIODevice>

namespace {

/// Memory kept for the next message; what a larger one needed is given back.
constexpr qsizetype kept_capacity = 8 * 1024 * 1024;

/// A byte order mark is gone once the line is text, so a separator behind one counts.
bool is_separator(QByteArrayView line)
{
    return line.startsWith("From ") || line.startsWith("\xEF\xBB\xBF"
                                                       "From ");
}

/// The first line of `lines`, line feed included.
QByteArrayView first_line(QByteArrayView lines)
{
    const qsizetype line_feed = lines.indexOf('\n');
    return line_feed < 0 ? lines : lines.first(line_feed + 1);
}

} // namespace

mbox_splitter::mbox_splitter(QIODevice &mail_file)
    : file(mail_file)
{
    block.resize(block_size);
}

/// Read behind the unread bytes, moved to the front; false when the device has nothing more.
bool mbox_splitter::fill()
{
    std::copy(block.cbegin() + at, block.cbegin() + filled, block.begin());
    filled -= at;
    at = 0;
    if (block.size() > block_size && filled < block_size / 2) {
        block.resize(block_size); // the long line is through
        block.squeeze();
    }
    if (block.size() < filled + block_size / 2)
        block.resize(block.size() * 2); // a line longer than the block
    const qint64 count = file.read(block.data() + filled, block.size() - filled);
    device_failed = count < 0;
    device_ended = count <= 0;
    filled += qMax<qint64>(count, 0);
    return !device_ended;
}

mbox_splitter::progress mbox_splitter::read()
{
    // Only whole lines are looked at; the last line of the file needs no line feed.
    qsizetype line_feed = unread().lastIndexOf('\n');
    while (line_feed < 0 && !device_ended) {
        const qsizetype searched = filled - at;
        if (fill()) {
            const qsizetype in_new_bytes = unread().sliced(searched).lastIndexOf('\n');
            line_feed = in_new_bytes < 0 ? -1 : searched + in_new_bytes;
        }
    }
    QByteArrayView lines = device_ended ? unread() : unread().first(line_feed + 1);
    if (lines.isEmpty())
        return device_failed ? progress::read_failed : progress::file_ended;

    qsizetype line_begin = at_separator ? first_line(lines).size() : 0;
    at_separator = false;
    for (; line_begin < lines.size(); line_begin += first_line(lines.sliced(line_begin)).size()) {
        if (!is_separator(lines.sliced(line_begin)))
            continue;
        at_separator = true;
        break;
    }
    if (inside_message)
        append(lines.first(line_begin));
    at += line_begin;
    const bool complete = inside_message && at_separator;
    inside_message = inside_message || at_separator;
    return complete ? progress::message_complete : progress::reading;
}

/// ASCII lines, nearly all, are taken as they are; of the others those that text would not give back are converted.
void mbox_splitter::append(QByteArrayView lines)
{
    while (!lines.isEmpty()) {
        const qsizetype ascii = local_text::ascii_prefix(lines);
        const qsizetype odd_line = ascii == lines.size() ? ascii : lines.first(ascii).lastIndexOf('\n') + 1;
        message_buffer.append(lines.first(odd_line));
        lines = lines.sliced(odd_line);
        const QByteArrayView line = first_line(lines);
        if (local_text::survives(line))
            message_buffer.append(line);
        else
            message_buffer.append(local_text::converted(line));
        lines = lines.sliced(line.size());
    }
}

void mbox_splitter::drop_message()
{
    if (message_buffer.capacity() > kept_capacity)
        message_buffer = QByteArray();
    else
        message_buffer.resize(0);
}
