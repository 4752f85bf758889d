/// Bytes of a mail file as text of the local 8-bit encoding (UTF-8 on every platform this is built for), and back.
#pragma once

#include <QByteArray>
#include <QString>

namespace local_text {

/// True when turning the line into text and back would give the same bytes: valid UTF-8 that does not begin with a
/// byte order mark (the conversion drops one).
[[nodiscard]] bool survives(QByteArrayView line);

/// The bytes after a journey to text and back: invalid bytes are replaced, one leading byte order mark is gone.
[[nodiscard]] QByteArray converted(QByteArrayView line);

/// Length of the run of ASCII bytes that `bytes` begins with.
[[nodiscard]] qsizetype ascii_prefix(QByteArrayView bytes);

} // namespace local_text
