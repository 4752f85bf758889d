/// Bytes of a mail file as text of the local 8-bit encoding (UTF-8 on every platform this is built for), and back.
#pragma once

#include <QByteArray>
#include <QString>

namespace local_text {

/// Length of the run of whole lines at the beginning of `lines` that the journey to text and back leaves as they are:
/// lines of valid UTF-8 that do not begin with a byte order mark (the conversion drops one). `lines` begins with a
/// line; a last one without a line feed counts as whole.
[[nodiscard]] qsizetype surviving_lines(QByteArrayView lines);

/// The bytes after a journey to text and back: invalid bytes are replaced, one leading byte order mark is gone.
[[nodiscard]] QByteArray converted(QByteArrayView line);

} // namespace local_text
