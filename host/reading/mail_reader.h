/// From the stored bytes of one mail to its record.
#pragma once

#include "host/reading/mail_record.h"

#include <functional>

/// Keeps the bytes of a part until they are moved to "Parts/"; says under which name, or nothing when that failed.
using part_writer = std::function<QByteArray(QByteArrayView bytes)>;

/// Read the mail whose bytes, "From " line included, are `stored`; the empty line before another mail is left out when
/// `is_followed`. Sets all of the record but where it comes from (source, file, ordinal, offset, separators) and its
/// row.
[[nodiscard]] mail_record read_mail(QByteArrayView stored, bool is_followed, const part_writer &write_part);

/// The same of a mail without a "From " line and its quoting.
void read_plain_mail(QByteArrayView mail, const part_writer &write_part, mail_record &record);

/// SHA-256, lower-case hex.
[[nodiscard]] QByteArray sha256_of(QByteArrayView bytes);
