/// Why the text of a row is not the text of its mail.
#pragma once

#include "host/reading/row_differences.h"

#include <optional>

/// A text as it is compared: its line ends are line feeds, blanks and line ends around it do not count.
[[nodiscard]] QString comparable_text(const QString &text);

/// The kind of a text that differs, as far as the two texts show it.
[[nodiscard]] QByteArray kind_of_text(const QString &of_row, const QString &of_mail);

/// None when the texts are the same.
[[nodiscard]] std::optional<row_difference> text_difference(const mail_record &mail, const cut_message &cut,
                                                            const cut_message &whole);
