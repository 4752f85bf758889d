/// The attachments of a message, found by their "filename=" parameters.
#pragma once

#include "extractors/takeout/mail.h"

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
    qsizetype left_out = 0;            ///< of lines that hold very many
    qsizetype left_out_of_message = 0; ///< behind the most that are taken of a message
};

/// Every "filename=", in order; two on one line are two entries. A line of very many would give entries whose sizes
/// grow with the square of the line: behind the first few of a line, entries are left out once the sizes of such
/// entries pass a limit.
[[nodiscard]] parameter_list parameters(const mail &message);

constexpr int always_taken_of_a_line = 4;
constexpr std::size_t most_of_a_message = 200000; // what is kept for each is several times what it takes in a message
constexpr qsizetype most_characters_of_others = 32 * 1024 * 1024;

/// The base64 body behind each entry, null where none can be delimited. An entry's text is looked for from the start of
/// the message, so entries of equal text (or one that an earlier one begins with) share the first one's body. A body
/// goes from the blank line of its part to the next "==", wherever that stands.
[[nodiscard]] std::vector<QByteArrayView> bodies(const mail &message, const std::vector<parameter> &entries);

/// The name in an entry: without any "filename=" and quotes.
[[nodiscard]] QString name_in(QByteArrayView entry);

} // namespace mail_attachments
