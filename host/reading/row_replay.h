/// Works out the row that the extraction makes of one message of an mbox file, with the extraction's own parsers, and
/// where in the message each value comes from. Explanations of a row rest on this, not on a guess from its texts.
#pragma once

#include "extractors/takeout/mail_attachments.h"

#include <QString>

#include <vector>

/// The bytes of a message as the extraction parses them: lines that are not valid UTF-8, or begin with a byte order
/// mark, have been converted to text and back.
class parsed_bytes
{
public:
    /// `stored` outlives this object; it is copied only when a line of it changes.
    explicit parsed_bytes(QByteArrayView stored);

    [[nodiscard]] QByteArrayView stored() const { return original; }
    [[nodiscard]] QByteArrayView view() const { return changed_lines.empty() ? original : QByteArrayView(copy); }

    /// The position in the stored bytes of a position in `view`. Exact except inside a changed line: then only in that
    /// line.
    [[nodiscard]] qsizetype stored_position(qsizetype position) const;

private:
    struct changed_line
    {
        qsizetype begin;        ///< in `copy`
        qsizetype stored_begin; ///< in `original`
        qsizetype stored_size;
        qsizetype end; ///< in `copy`
    };

    QByteArrayView original;
    QByteArray copy;
    std::vector<changed_line> changed_lines;
};

struct byte_range
{
    qsizetype begin = -1;
    qsizetype end = -1;
};

/// A value of a row, and the place of its mark ("Subject: ", ...) in the parsed bytes; -1 when there is no such mark.
struct replayed_value
{
    QString value;
    qsizetype mark = -1;
};

/// How the text of a message was looked for.
enum class text_rule {
    no_content_type,  ///< no "Content-Type: " at all: nothing, or the text before "<?xml"
    no_blank_line,    ///< not multipart, and no blank line (CRLF) after the header
    no_paragraph_end, ///< not multipart, and no second blank line
    first_paragraph,  ///< not multipart: up to the first blank line of the body
    no_plain_part,    ///< multipart, and no part has exactly "Content-Type: text/plain;"
    no_part_begin,    ///< the last such part has no blank line (CRLF) after its header
    no_boundary,      ///< no boundary of the kind "------=" after a blank line follows the last such part
    last_plain_part,  ///< the last such part, up to that boundary
};

struct replayed_text
{
    QString value;
    text_rule rule = text_rule::no_content_type;
    qsizetype content_type = -1; ///< place of the "Content-Type: " that counted
    byte_range bytes;            ///< that were taken
    bool from_base64 = false;    ///< they were decoded
    bool normalized = false;     ///< typographic signs and percent escapes were replaced
};

struct replayed_row
{
    replayed_value subject;
    replayed_value from;
    replayed_value to;
    replayed_value cc;
    replayed_value date; ///< decimal seconds
    replayed_text text;
    /// For each name that the row lists, in order, the place of its "filename=".
    std::vector<qsizetype> attachments;
    /// The bytes decoded for each of them.
    std::vector<byte_range> attachment_bodies;
};

/// The row of a message, which begins with its separator line.
[[nodiscard]] replayed_row replay_row(QByteArrayView parsed);

/// Where the extraction cuts `bytes`, which begin with a line: the positions of lines that begin with "From ", with or
/// without a byte order mark before it.
[[nodiscard]] std::vector<qsizetype> separator_lines(QByteArrayView bytes);
