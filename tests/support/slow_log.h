/// The ends of a debug log's pieces, found the slow and plain way: the whole file in memory, each piece searched
/// separately.
#pragma once

#include <QByteArray>
#include <QList>

/// The pieces without their ends. A line begins with "[" and ends in a line feed; anything else ends in whichever of
/// line feed and end mark comes first.
[[nodiscard]] inline QList<QByteArray> log_pieces_one_by_one(const QByteArray &file)
{
    const QByteArray mark = "<[{()}]>";
    QList<QByteArray> pieces;
    for (qsizetype at = 0; at < file.size();) {
        const qsizetype line_feed = file.indexOf('\n', at);
        const qsizetype marked = file.at(at) == '[' ? -1 : file.indexOf(mark, at);
        const bool ends_in_mark = marked >= 0 && (line_feed < 0 || marked < line_feed);
        const qsizetype end = ends_in_mark ? marked : line_feed < 0 ? file.size() : line_feed;
        pieces.append(file.mid(at, end - at));
        at = end + (ends_in_mark ? mark.size() : 1);
    }
    return pieces;
}
