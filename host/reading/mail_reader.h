/// Reads the stored bytes of one mail into its record.
#pragma once

#include "host/reading/mail_record.h"

#include <functional>

/// Keeps the bytes of a part, whose hash and extension are set, until they are moved to "Parts/": sets `spool_file`, or
/// `is_kept` when they are there already, or neither when that failed.
using part_writer = std::function<void(QByteArrayView bytes, mail_part &part)>;

/// Read the mail whose bytes, "From " line included, are `stored`; the empty line before another mail is left out when
/// `is_followed`. Sets everything except where the mail comes from (source, file, ordinal, offset, separators) and its
/// row.
[[nodiscard]] mail_record read_mail(QByteArrayView stored, bool is_followed, const part_writer &write_part);

/// The same for a mail without a "From " line and without quoted ones.
void read_plain_mail(QByteArrayView mail, const part_writer &write_part, mail_record &record);

/// SHA-256, lower-case hex.
[[nodiscard]] QByteArray sha256_of(QByteArrayView bytes);
