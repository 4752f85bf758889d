/// Bytes of a mail file as text of the local 8-bit encoding (UTF-8 on every platform this is built for), and back.
#pragma once

#include <QByteArray>
#include <QString>

namespace local_text {

/// Length of the whole lines at the beginning of `lines` that conversion to text and back leaves unchanged: lines of
/// valid UTF-8 that do not begin with a byte order mark (the conversion drops one). `lines` starts at the beginning of
/// a line; a last line without a line feed counts as whole.
[[nodiscard]] qsizetype surviving_lines(QByteArrayView lines);

/// The bytes after conversion to text and back: invalid bytes are replaced, one leading byte order mark is dropped.
[[nodiscard]] QByteArray converted(QByteArrayView line);

} // namespace local_text
