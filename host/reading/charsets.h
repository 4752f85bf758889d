/// From bytes in some character set to UTF-8.
#pragma once

#include <QByteArray>
#include <QByteArrayList>

/// True for valid UTF-8.
[[nodiscard]] bool is_utf8(QByteArrayView bytes);

/// The bytes as UTF-8. `charset` is as declared, empty when nothing is. Bytes that the declared set does not explain,
/// and those without one, are taken as UTF-8 when they are valid UTF-8, otherwise as `likely` (when it is given and
/// known), otherwise as windows-1252. What was guessed and what was replaced by U+FFFD is added to `problems`, which
/// name the text as `what` ("The subject").
[[nodiscard]] QByteArray to_utf8(QByteArrayView bytes, const QByteArray &charset, const QByteArray &likely,
                                 const char *what, QByteArrayList &problems);

/// Add a sentence once, unless there are very many.
void add_problem(QByteArrayList &problems, const QByteArray &sentence);
