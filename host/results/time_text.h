/// Times of a result as people write and read them. Everything is UTC.
#pragma once

#include <QString>

#include <array>
#include <optional>

/// "2024-01-08T08:30:00Z".
using utc_text_buffer = std::array<char, 20>;

/// Write seconds since 1970-01-01 00:00:00 UTC. False, and nothing written, outside the years 1 to 9999.
[[nodiscard]] bool write_utc(qint64 seconds, utc_text_buffer &text);

/// The same as a text; the number when it is outside these years.
[[nodiscard]] QString utc_text_of(qint64 seconds);

/// From `begin` up to but not including `end`; seconds since 1970-01-01 00:00:00 UTC.
struct period
{
    qint64 begin = 0;
    qint64 end = 0;
};

/// The period that a text names: a year ("2024"), a month ("2024-01"), a day ("2024-01-08", "20240108", "8.1.2024"), a
/// minute or a second of a day ("2024-01-08T08:30", "2024-01-08 08:30:15", "… 08:30+01:00"), or a second
/// ("@1704702600"). UTC when no zone is given. Empty for anything else.
[[nodiscard]] std::optional<period> period_of(const QString &text);

/// The message for a text that `period_of` does not accept.
[[nodiscard]] QString not_a_time(const QString &text);
