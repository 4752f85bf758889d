/// How much room a text takes on a terminal.
#pragma once

#include <QString>

/// Columns that the text fills: 2 for East Asian characters, 0 for accents that combine with the character before.
[[nodiscard]] int width_of(const QString &text);

/// The text, or as much of its beginning as fits into `width` columns with "…" after it.
[[nodiscard]] QString cut_to_width(const QString &text, int width);
