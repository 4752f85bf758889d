/// Explains why the text of a row is not the text of its mail.
#pragma once

#include "host/reading/row_differences.h"

#include <optional>

/// A text made comparable: line feeds as line ends, no blanks or line ends around it.
[[nodiscard]] QString comparable_text(const QString &text);

/// How one text differs from the other, as far as the two show it.
[[nodiscard]] QByteArray kind_of_text(const QString &of_row, const QString &of_mail);

/// None when the texts are the same.
[[nodiscard]] std::optional<row_difference> text_difference(const mail_record &mail, const cut_message &cut,
                                                            const cut_message &whole);
