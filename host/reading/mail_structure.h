/// Where the parts of a mail are.
///
/// GMime's own parser gives neither the stored bytes of embedded messages nor a bound on its memory. So this code goes
/// through the bytes line by line and leaves only the fields to GMime.
#pragma once

#include "host/reading/limits.h"
#include "host/reading/mail_fields.h"

#include <vector>

/// A header and the body that belongs to it: the mail itself, a part, or an embedded message. The views are into the
/// mail.
struct mail_entity
{
    enum class kind { leaf, multipart, message };

    kind what = kind::leaf;
    QByteArray path;  ///< of a leaf and of a message; of a multipart the prefix of its parts
    int embedded = 0; ///< number of enclosing messages
    QByteArrayView header;
    QByteArrayView body; ///< as stored; empty for a multipart
    header_fields fields;
    typed_value type; ///< its type is never empty
};

struct mail_structure
{
    std::vector<mail_entity> entities; ///< in the order of their headers; the mail itself is the first
    QByteArrayList problems;
};

/// Walk through the mail, which begins with its header. Beyond the limits parts are left out, or are not opened, and
/// `problems` says so. For a mail that was decoded from a part, `prefix` is the path of that part and `embedded` counts
/// the mails around it.
[[nodiscard]] mail_structure structure_of(QByteArrayView mail, const QByteArray &prefix = {}, int embedded = 0);

[[nodiscard]] inline bool is_message_type(const QByteArray &type)
{
    return type == "message/rfc822" || type == "message/global" || type == "message/news";
}
