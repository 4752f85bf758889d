#include "host/reading/header_lines.h"

#include <algorithm>

namespace {

constexpr qsizetype max_field_name = 60;

/// Where the line after the one at `position` begins.
qsizetype next_line(QByteArrayView message, qsizetype position)
{
    const qsizetype line_feed = message.indexOf('\n', position);
    return line_feed < 0 ? message.size() : line_feed + 1;
}

QByteArrayView line_at(QByteArrayView message, qsizetype position)
{
    QByteArrayView line = message.sliced(position, next_line(message, position) - position);
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    return line;
}

bool is_folded(QByteArrayView line)
{
    return line.startsWith(' ') || line.startsWith('\t');
}

QByteArray name_of_field(QByteArrayView line)
{
    QByteArray name = line.first(qMin(qMax<qsizetype>(line.indexOf(':'), 0), max_field_name)).toByteArray();
    for (char &letter : name) {
        if (letter < ' ' || letter > '~')
            letter = '?';
    }
    return name;
}

} // namespace

qsizetype begin_of_body(QByteArrayView message)
{
    for (qsizetype line = next_line(message, 0); line < message.size(); line = next_line(message, line)) {
        if (line_at(message, line).isEmpty())
            return next_line(message, line);
    }
    return message.size();
}

mark_place place_of_mark(QByteArrayView message, qsizetype mark, QByteArrayView mark_text)
{
    mark_place place;
    if (mark < 1) // a mark at the very beginning counts as not found
        return place;
    const qsizetype header = next_line(message, 0);
    place.where = mark < header ? mark_place::separator : mark_place::body;
    if (mark < header || mark >= begin_of_body(message))
        return place;

    qsizetype field = header;
    for (qsizetype line = header; line <= mark; line = next_line(message, line)) {
        if (!is_folded(message.sliced(line)))
            field = line;
    }
    place.where = field == mark ? mark_place::own_field : mark_place::other_field;
    if (field != mark) {
        place.field_name = name_of_field(line_at(message, field));
        return place;
    }
    place.first_line =
        line_at(message, field).sliced(qMin(mark_text.size(), line_at(message, field).size())).toByteArray();
    place.lines = 1;
    for (qsizetype line = next_line(message, field); line < message.size() && is_folded(message.sliced(line));
         line = next_line(message, line)) {
        ++place.lines;
        place.continues = place.continues || !line_at(message, line).trimmed().isEmpty();
    }
    return place;
}
