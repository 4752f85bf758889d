/// The attachments of a message, found by their "filename=" parameters.
#pragma once

#include "extractors/takeout/mail.h"

#include <QStringList>

namespace mail_attachments {

/// Every "filename=" up to the end of its line, trimmed, in order; two on one line are two entries. The entries keep
/// the "filename=" and the quotes. They end when their sizes together pass `longest_list`: a line of many "filename="
/// would otherwise give entries whose sizes grow with the square of the line.
[[nodiscard]] QStringList parameters(const mail &message);

constexpr qsizetype longest_list = 64 * 1024 * 1024; ///< UTF-16 code units

/// The base64 body behind each entry, null where none can be delimited. An entry is looked for from the start of the
/// message, so entries of equal text (or one that begins like an earlier one) share the first one's body. A body goes
/// from the blank line of its part to the next "==", wherever that stands.
[[nodiscard]] std::vector<QByteArrayView> bodies(const mail &message, const QStringList &entries);

/// The name in an entry: without any "filename=" and quotes.
[[nodiscard]] QString name_in(const QString &entry);

} // namespace mail_attachments
