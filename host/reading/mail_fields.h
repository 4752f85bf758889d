/// Header fields of a mail: found, unfolded, decoded.
#pragma once

#include "host/reading/mail_record.h"

#include <optional>
#include <vector>

/// A field as stored. The views are into the mail.
struct header_field
{
    QByteArrayView name;
    QByteArrayView value; ///< after the colon, line ends and folding included, without the last line end
};

/// The fields of one header, in their order.
class header_fields
{
public:
    void append(header_field field) { fields.push_back(field); }

    /// Extend the last field up to `end`, which is in the same mail.
    void extend_last(const char *end);
    [[nodiscard]] bool is_empty() const { return fields.empty(); }

    /// The value of the first field of this name, unfolded and without blanks around it; empty when there is none.
    /// `name` is in lower case.
    [[nodiscard]] QByteArray first(QByteArrayView name) const;

    /// The values of all fields of this name.
    [[nodiscard]] QByteArrayList all(QByteArrayView name) const;

private:
    std::vector<header_field> fields;
};

/// How undeclared 8-bit characters of fields are read, and where problems go.
struct field_context
{
    QByteArray likely_charset;
    QByteArrayList &problems;
};

/// Text of a field: encoded words decoded (adjacent ones joined before their characters are, so that a character may be
/// split between them), 8-bit characters converted. `what` names the field in problems ("The subject").
[[nodiscard]] QByteArray decoded_text(const QByteArray &value, const char *what, field_context &context);

/// Names and addresses of a field, with the members of groups.
[[nodiscard]] QList<mail_address> decoded_addresses(const QByteArrayList &values, const QByteArray &role,
                                                    field_context &context);

/// The texts between "<" and ">", without blanks, at most one more than `max_references`; of a value without these, the
/// words that contain "@", or its only word.
[[nodiscard]] QByteArrayList message_ids(QByteArrayView value);

/// The labels of a decoded field.
[[nodiscard]] QByteArrayList split_labels(const QByteArray &text);

/// A Content-Type or Content-Disposition.
struct typed_value
{
    QByteArray type; ///< "text/plain", "attachment"; lower case, empty when it cannot be read
    QByteArray charset;
    QByteArray boundary;
    QByteArray name; ///< "name" or "filename", decoded
    bool has_too_many_parameters = false;
};
[[nodiscard]] typed_value content_type(const QByteArray &value, field_context &context);
[[nodiscard]] typed_value content_disposition(const QByteArray &value, field_context &context);
