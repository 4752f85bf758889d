/// Predicts, while a mail is read, the rows that the extraction makes of it. Later the rows really written are matched
/// and compared with the mail by these, without parsing it again.
#pragma once

#include "host/reading/row_differences.h"

/// The row that is expected of a message.
struct expected_row
{
    QList<row_difference> differences; ///< from the mail
    QByteArrayList attachment_parts;   ///< for each file that the row lists, the path of its part; empty when in none
};

/// The compared values of a row and the number of files that it lists, as a digest of 16 bytes.
[[nodiscard]] QByteArray digest_of(const row_values &row, qsizetype files);

/// Fills `mail.foreseen_rows`: one for each line of the mail that begins with "From ". `bytes` are the mail's, its
/// "From " line included. A mail that the library could not read has rows without differences.
void foresee_rows(mail_record &mail, QByteArrayView bytes);

/// Into the bytes of `foreseen_row::rest`, and back.
[[nodiscard]] QByteArray packed(const expected_row &row);
[[nodiscard]] expected_row unpacked(const QByteArray &bytes);
