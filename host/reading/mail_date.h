/// Dates of mail.
#pragma once

#include <QByteArrayView>

#include <optional>

struct mail_date
{
    qint64 seconds = 0; ///< UTC, since 1970
    bool has_zone = false;
};

/// Reads the forms of RFC 5322 with its obsolete ones, asctime, and ISO 8601 with a time of day. Weekdays are not
/// checked. "-600" is a zone, too. Without a zone, or with an unknown name for one, the time is taken as UTC. Returns
/// nothing for texts of digits alone, and for days or times that do not exist.
[[nodiscard]] std::optional<mail_date> parse_mail_date(QByteArrayView text);
