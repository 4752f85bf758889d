/// Converts bytes in any character set to UTF-8.
#pragma once

#include <QByteArray>
#include <QByteArrayList>

/// True for valid UTF-8.
[[nodiscard]] bool is_utf8(QByteArrayView bytes);

/// The bytes as UTF-8. `charset` is as declared, or empty. Bytes that the declared set cannot decode, and those without
/// one, are read as UTF-8 if they are valid UTF-8, otherwise as `likely` (if given and known), otherwise as
/// windows-1252. Guesses and replacements by U+FFFD are added to `problems`, which call the text `what` ("The
/// subject").
[[nodiscard]] QByteArray to_utf8(QByteArrayView bytes, const QByteArray &charset, const QByteArray &likely,
                                 const char *what, QByteArrayList &problems);

/// Add a sentence once, unless there are very many.
void add_problem(QByteArrayList &problems, const QByteArray &sentence);
