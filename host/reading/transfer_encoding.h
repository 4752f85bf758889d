/// Decodes the transfer encodings of mail.
#pragma once

#include <QByteArray>
#include <QByteArrayList>

/// The stored bytes decoded as `encoding` says (lower case; anything but base64, quoted-printable and uuencode with
/// their aliases leaves them as they are). Damaged text is decoded as far as it goes, and `problems` names `what`
/// (the part, as it begins a sentence).
[[nodiscard]] QByteArray decoded_transfer(QByteArrayView stored, const QByteArray &encoding, const QByteArray &what,
                                          QByteArrayList &problems);

/// Base64. Bytes outside the alphabet are skipped, padding may be missing, and the first complete padding ends the
/// data.
struct base64_result
{
    QByteArray bytes;
    bool is_cut = false;     ///< six bits too many at the end
    bool goes_on = false;    ///< there are letters after the padding
    bool has_others = false; ///< bytes outside the alphabet other than line ends and blanks
};
[[nodiscard]] base64_result decoded_mail_base64(QByteArrayView text);

/// Quoted-printable. With `in_word`, "_" is a blank, as in encoded words of header fields.
[[nodiscard]] QByteArray decoded_quoted_printable(QByteArrayView text, bool in_word);
