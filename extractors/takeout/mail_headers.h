/// To, From, Subject, Cc and Date of a message, as texts.
///
/// A header begins at its mark (see mail_marks.h) and goes up to the next line feed. All functions but `line_at` take
/// the text of that line, not the message.
#pragma once

#include "extractors/takeout/mail_marks.h"

#include <QString>

namespace mail_headers {

/// The header line at `begin`: its text and where its line feed is. Empty, and -1, when there is no line feed or
/// `begin` is negative.
struct line
{
    QString text;
    qsizetype end = -1;
};
[[nodiscard]] line line_at(QByteArrayView message, qsizetype begin);

/// `text` without `name` at its beginning.
[[nodiscard]] QString without_name(QString text, QLatin1StringView name);

/// A recipient line with its continuation. To a line with a comma the next line is appended, even if it is another
/// header; then one more for as long as the text ends in a comma. A line without a comma is never continued, and a text
/// that ends in a carriage return does not end in a comma. `next_line` appends one line and is false at the end of the
/// message.
template <class NextLine>
[[nodiscard]] QString unfolded(QString text, NextLine next_line)
{
    if (!text.contains(u','))
        return text;
    while (next_line(text) && text.endsWith(u',')) {}
    return text;
}

/// The recipients' names: the text is cut at every "," and "<", empty pieces are dropped, and every second piece is
/// kept, joined by ",". So well-formed lists of "Name <address>" give the names; an entry without a name shifts the
/// pairing of those after it.
[[nodiscard]] QString recipient_names(const QString &recipients);

/// The sender's name: cut at "<", every second piece trimmed and kept, joined without a separator.
[[nodiscard]] QString sender_name(const QString &sender);

/// Seconds since the epoch, UTC, of a date text such as "Mon, 5 Jan 2015 10:11:12 +0530": the wall-clock time before
/// the first "+" (else the first "-") less the offset of hours and minutes after it. 0 for a text in any other layout,
/// whether or not it has an offset.
[[nodiscard]] qint64 epoch_of_date(const QString &date_text);

} // namespace mail_headers
