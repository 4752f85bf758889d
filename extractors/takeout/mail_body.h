/// The readable text of a message, cut out by fixed marks.
#pragma once

#include "extractors/takeout/mail_marks.h"

#include <QString>

namespace mail_body {

/// False for a mark that is missing; parsers take one at position 0 as missing, too.
[[nodiscard]] inline bool is_found(qsizetype mark)
{
    return mark >= 1;
}

/// The text of a message without any "Content-Type: ": from the first empty line (bare line feeds) to the next "<?xml".
[[nodiscard]] QByteArrayView bytes_before_xml(const mail_marks &message);

/// The first paragraph of a single-part message with a "Content-Type: ": the text between the first blank line
/// after that header and the next one. Blank lines are those of CRLF files. Null when one of them is missing.
[[nodiscard]] QByteArrayView first_paragraph(const mail_marks &message);

/// One text/plain part of a multipart message.
struct plain_part
{
    qsizetype blank_line = -1; ///< where the part's headers end, -1 when there is none
    QByteArrayView body;       ///< up to the next part's boundary; null when there is none
};

/// The text/plain parts, in order. The type is compared whole ("Content-Type: text/plain" or "TEXT/PLAIN", up to the
/// ";"), and a boundary is one that begins with "------=".
[[nodiscard]] std::vector<plain_part> plain_parts(const mail_marks &message);

/// A few quoted-printable sequences replaced (curly quotes, the dash, soft line breaks of bare line feeds), then
/// percent escapes decoded. Everything else stays as it is.
[[nodiscard]] QString normalized(QString text);

} // namespace mail_body
