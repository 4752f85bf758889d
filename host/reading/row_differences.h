/// Finds where a row differs from its mail, and which known behaviour of the extraction is the cause.
#pragma once

#include "host/reading/mail_record.h"
#include "host/reading/row_replay.h"

/// The values of a row of `messages` that are compared, as texts in UTF-8. A NULL is empty.
struct row_values
{
    QByteArray subject;
    QByteArray from_list;
    QByteArray to_list;
    QByteArray cc_list;
    QByteArray timestamp;
    QByteArray message_text;
};

/// One value of a row that differs from the mail's.
struct row_difference
{
    QByteArray field; ///< a column of `messages`
    QByteArray kind;  ///< "missing", "shortened", "undecoded", "other" or "surplus"
    QByteArray explanation;
};

/// Why something is not in a row although the mail has it: the mail was cut before it.
inline constexpr QByteArrayView cut_inside =
    "A line of the mail that begins with \"From \" is taken for the beginning of the next mail, so the row was made of "
    "the lines before it.";

/// A message as the extraction cuts it from an mbox, and the row that it makes of it.
struct cut_message
{
    /// `message` begins with its separator line and outlives this object.
    explicit cut_message(QByteArrayView message)
        : bytes(message)
        , row(replay_row(bytes.view()))
    {
    }

    parsed_bytes bytes;
    replayed_row row;
};

/// The values that the extraction gives the row.
[[nodiscard]] row_values values_of(const replayed_row &row);

/// Differences between a mail and the row that the extraction makes of it, each explained by a behaviour. `cut` is the
/// mail up to the first line inside it that begins with "From ", `whole` all of it; the same object when there is no
/// such line.
[[nodiscard]] QList<row_difference> explained_differences(const mail_record &mail, const cut_message &cut,
                                                          const cut_message &whole);

/// Differences between a mail and a row that is not what the extraction makes of it: somebody changed the row, or it
/// was made in another way. Only `mail`'s subject, date, text and addresses are looked at.
[[nodiscard]] QList<row_difference> plain_differences(const mail_record &mail, const row_values &row);
