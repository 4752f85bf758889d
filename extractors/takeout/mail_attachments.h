/// The attachments of a message, found by their "filename=" parameters.
#pragma once

#include "extractors/takeout/mail_marks.h"

#include <QStringList>

namespace mail_attachments {

/// One "filename=" parameter.
struct parameter
{
    QByteArrayView text; ///< of the message, up to the end of its line, trimmed; keeps the "filename=" and the quotes
    qsizetype position;  ///< in the message
};

struct parameter_list
{
    std::vector<parameter> entries;
    qsizetype left_out = 0;            ///< skipped on lines with very many
    qsizetype left_out_of_message = 0; ///< after `max_of_message`
};

/// Every "filename=", in order; two on one line are two entries. Each entry runs to the end of its line, so that on a
/// line with very many their total size grows with the square of the line: after the first few of a line, entries are
/// skipped once the total size of such entries passes a limit.
[[nodiscard]] parameter_list parameters(const mail_marks &message);

constexpr int min_of_line = 4;
constexpr std::size_t max_of_message = 200000; // an entry takes several times its size in the message
constexpr qsizetype max_characters_of_others = 32 * 1024 * 1024;

/// The base64 body that follows each entry, null where its beginning or end is missing. An entry's text is searched for
/// from the start of the message, so entries of equal text (or one that an earlier one begins with) share the first
/// one's body. A body goes from the blank line of its part to the next "==", wherever that is.
[[nodiscard]] std::vector<QByteArrayView> bodies(const mail_marks &message, const std::vector<parameter> &entries);

/// The name in an entry: without any "filename=" and quotes.
[[nodiscard]] QString name_in(QByteArrayView entry);

} // namespace mail_attachments
