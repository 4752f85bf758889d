#include "host/results/time_text.h"

#include <QRegularExpression>

#include <chrono>

namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::months;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;
using std::chrono::year_month_day;
using std::chrono::years;

void write_number(char *to, unsigned number, int digits)
{
    for (int i = digits; i-- > 0; number /= 10)
        to[i] = static_cast<char>('0' + number % 10);
}

std::optional<year_month_day> day_of(const QString &year, const QString &month, const QString &day)
{
    const year_month_day found(std::chrono::year(year.toInt()),
                               std::chrono::month(month.isEmpty() ? 1 : month.toUInt()),
                               std::chrono::day(day.isEmpty() ? 1 : day.toUInt()));
    return found.ok() ? std::optional(found) : std::nullopt;
}

period from_to(sys_seconds begin, sys_seconds end)
{
    return {begin.time_since_epoch().count(), end.time_since_epoch().count()};
}

/// A time of day with its zone: seconds from the beginning of the day.
std::optional<period> time_of_day(const QRegularExpressionMatch &match)
{
    const int hour = match.captured(u"hour").toInt(), minute = match.captured(u"minute").toInt();
    const int second = match.captured(u"second").toInt();
    const int zone_hours = match.captured(u"zonehour").toInt(), zone_minutes = match.captured(u"zoneminute").toInt();
    if (hour > 23 || minute > 59 || second > 59 || zone_hours > 23 || zone_minutes > 59)
        return {};
    const int east = match.captured(u"sign") == u"-" ? -1 : 1;
    const qint64 begin = hour * 3600 + minute * 60 + second - east * (zone_hours * 3600 + zone_minutes * 60);
    return period{begin, begin + (match.hasCaptured(u"second") ? 1 : 60)};
}

} // namespace

bool write_utc(qint64 since_epoch, utc_text_buffer &text)
{
    constexpr qint64 first = -62135596800, last = 253402300799; // of the years 1 and 9999
    if (since_epoch < first || since_epoch > last)
        return false;
    const sys_seconds time{seconds(since_epoch)};
    const auto midnight = std::chrono::floor<days>(time);
    const year_month_day day(midnight);
    const std::chrono::hh_mm_ss clock(time - midnight);
    char *const at = text.data();
    write_number(at, static_cast<unsigned>(int(day.year())), 4);
    at[4] = '-';
    write_number(at + 5, unsigned(day.month()), 2);
    at[7] = '-';
    write_number(at + 8, unsigned(day.day()), 2);
    at[10] = 'T';
    write_number(at + 11, static_cast<unsigned>(clock.hours().count()), 2);
    at[13] = ':';
    write_number(at + 14, static_cast<unsigned>(clock.minutes().count()), 2);
    at[16] = ':';
    write_number(at + 17, static_cast<unsigned>(clock.seconds().count()), 2);
    at[19] = 'Z';
    return true;
}

QString utc_text_of(qint64 since_epoch)
{
    utc_text_buffer text;
    return write_utc(since_epoch, text) ? QString::fromLatin1(text.data(), text.size()) : QString::number(since_epoch);
}

std::optional<period> period_of(const QString &text)
{
    static const QRegularExpression seconds_alone(QStringLiteral("^@(-?\\d{1,12})$|^(\\d{9,12})$"));
    static const QRegularExpression date_and_time(
        QStringLiteral("^(?:(?<year>\\d{4})(?:-(?<month>\\d{1,2})(?:-(?<day>\\d{1,2}))?)?|(?<year2>\\d{4})(?<month2>"
                       "\\d\\d)(?<day2>\\d\\d)"
                       "|(?<day3>\\d{1,2})\\.(?<month3>\\d{1,2})\\.(?<year3>\\d{4}))"
                       "(?:[T ]+(?<hour>\\d{1,2}):(?<minute>\\d\\d)(?::(?<second>\\d\\d))?"
                       "(?:\\s*(?:Z|UTC|(?<sign>[+-])(?<zonehour>\\d\\d):?(?<zoneminute>\\d\\d)))?)?$"));
    const QString trimmed = text.trimmed();
    if (const auto match = seconds_alone.match(trimmed); match.hasMatch()) {
        const qint64 second = match.captured(match.lastCapturedIndex()).toLongLong();
        return period{second, second + 1};
    }
    const auto match = date_and_time.match(trimmed);
    const auto part = [&match](QStringView name) -> QString {
        return match.captured(name) + match.captured(QString(name + u'2')) + match.captured(QString(name + u'3'));
    };
    const auto date = day_of(part(u"year"), part(u"month"), part(u"day"));
    if (!match.hasMatch() || !date)
        return {};
    const sys_seconds begin = sys_days(*date);
    if (match.hasCaptured(u"hour")) {
        const auto clock = part(u"day").isEmpty() ? std::nullopt : time_of_day(match);
        if (!clock)
            return {};
        return from_to(begin + seconds(clock->begin), begin + seconds(clock->end));
    }
    if (part(u"month").isEmpty())
        return from_to(begin, sys_days(*date + years(1)));
    if (part(u"day").isEmpty())
        return from_to(begin, sys_days(*date + months(1)));
    return from_to(begin, begin + days(1));
}

QString not_a_time(const QString &text)
{
    return QStringLiteral("\"%1\" is not a time; write it as 2024, 2024-01, 2024-01-08, 8.1.2024, 2024-01-08T08:30Z, "
                          "\"2024-01-08 08:30:15+01:00\" or @1704702600 (UTC when no zone is given)")
        .arg(text);
}
