/// Explains why a row's sender or recipients are not those of the mail's header.
#pragma once

#include "host/reading/header_lines.h"
#include "host/reading/mail_record.h"

#include <QStringList>

/// How a header field that was found was read.
struct value_reading
{
    QByteArray kind; ///< of the difference
    QByteArray why;  ///< a sentence
};

/// The mail's addresses of a role, in their order.
[[nodiscard]] QList<mail_address> addresses_of(const mail_record &mail, QByteArrayView role);

/// True when the text of a row is the name or the address of one of them, or empty when there are none.
[[nodiscard]] bool is_sender(const QString &of_row, const QList<mail_address> &senders);

/// True when the text of a row is their names, or addresses where they have no name, separated by commas.
[[nodiscard]] bool are_recipients(const QString &of_row, const QList<mail_address> &recipients);

/// Why the row has another sender, or other recipients, although the field itself was read.
[[nodiscard]] value_reading sender_read(const QString &of_row, const QList<mail_address> &senders,
                                        const mark_place &place);
[[nodiscard]] value_reading recipients_read(const QString &of_row, const QList<mail_address> &recipients,
                                            const mark_place &place);

/// True for a text with MIME words ("=?utf-8?q?...?=").
[[nodiscard]] bool has_mime_word(const QString &text);

/// True for a text that is not ASCII.
[[nodiscard]] bool has_other_letters(const QString &text);

[[nodiscard]] QString trimmed_text(const QByteArray &utf8);
