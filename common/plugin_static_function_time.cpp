/// Times: from the notations found in evidence to seconds since the epoch, and back.
#include "common/log_line.h"
#include "common/plugin_static_function.h"

#include <QDateTime>
#include <QFileInfo>

#include <optional>

namespace {

constexpr qint64 apple_epoch = 978307200;    // 2001-01-01, seconds since the epoch
constexpr qint64 google_epoch = 11644473600; // from 1601-01-01 to the epoch, seconds
constexpr qint64 microseconds_per_second = 1000000;
constexpr qint64 milliseconds_per_second = 1000;
constexpr int seconds_per_minute = 60;
constexpr int seconds_per_hour = 3600;
constexpr QLatin1StringView not_a_date("0"); // the result for a text in another layout

/// The wall-clock time in a text, as UTC; nullopt when the text has another layout. It is read as UTC from the start,
/// so that a time that daylight saving skips on this machine is valid.
std::optional<QDateTime> wall_clock(const QString &text, const char *format)
{
    const QDateTime time =
        QDateTime::fromString(text + QLatin1StringView(" UTC"), QLatin1StringView(format) + QLatin1StringView(" t"));
    return time.isValid() ? std::optional(time) : std::nullopt;
}

qint64 seconds_of(const QDateTime &time)
{
    return time.toMSecsSinceEpoch() / milliseconds_per_second;
}

QString epoch_text(const std::optional<QDateTime> &time, qint64 offset = 0)
{
    return time ? QString::number(seconds_of(*time) - offset) : QString(not_a_date);
}

QString before_first_dot(const QString &text)
{
    return text.section(u'.', 0, 0);
}

/// Cuts the zone off after " AM" or " PM"; true when there was one.
bool cut_zone(QString &date, QString &zone, QLatin1StringView mark)
{
    const QStringList parts = date.split(mark);
    if (parts.size() < 2)
        return false;
    zone = parts.at(1);
    date.truncate(date.lastIndexOf(mark) + mark.size() - 1);
    return true;
}

} // namespace

QString plugin_static_function::convert_apple_time_to_epoch(QString seconds_since_2001)
{
    const QString text = seconds_since_2001.trimmed();
    if (text.isEmpty() || text == u"0")
        return {};
    return QString::number(before_first_dot(text).toInt() + apple_epoch);
}

QString plugin_static_function::convert_google_time_to_epoch(QString microseconds_since_1601)
{
    constexpr qsizetype digits_of_epoch_seconds = 10;
    const QString &text = microseconds_since_1601;
    if (text.trimmed().isEmpty() || text == u"0")
        return {};
    if (text.size() == digits_of_epoch_seconds)
        return text;
    return QString::number(text.toLongLong() / microseconds_per_second - google_epoch);
}

QString plugin_static_function::convert_human_readable_to_epoch_1(QString date)
{
    QString text = date.trimmed();
    if (text.isEmpty())
        return {};
    QString zone;
    cut_zone(text, zone, QLatin1StringView(" AM "));
    cut_zone(text, zone, QLatin1StringView(" PM "));
    const std::optional<QDateTime> time = wall_clock(text.trimmed(), "MMM d, yyyy, h:mm:ss AP");
    if (!time || zone.trimmed() == u"UTC")
        return epoch_text(time);
    return epoch_text(QDateTime(time->date(), time->time(), Qt::LocalTime));
}

QString plugin_static_function::convert_human_readable_to_epoch_2(QString date)
{
    const QString text = date.trimmed();
    // Without a fraction, the last character is cut off.
    const qsizetype dot = text.indexOf(u'.');
    const QString date_text = text.left(dot < 0 ? text.size() - 1 : dot).trimmed();
    if (date_text.isEmpty() || date_text == u"0")
        return {};
    const bool east = text.contains(u'+');
    const qsizetype sign = east ? text.lastIndexOf(u'+') : text.lastIndexOf(u'-');
    if (sign < 0)
        return {};
    const int offset = convert_timezone_to_seconds(text.mid(sign + 1));
    return epoch_text(wall_clock(date_text, "yyyy-MM-dd hh:mm:ss"), east ? offset : -offset);
}

QString plugin_static_function::convert_human_readable_to_epoch_3(QString date)
{
    const QString text = date.trimmed();
    if (text.isEmpty() || text == u"0")
        return {};
    const QString behind_day_name = text.mid(text.indexOf(u',') + 1);
    return epoch_text(
        wall_clock(behind_day_name.left(behind_day_name.lastIndexOf(u' ')).trimmed(), "dd MMM yyyy hh:mm:ss"));
}

QString plugin_static_function::convert_T_Z_time_to_epoch(QString date)
{
    const QString text = date.trimmed();
    if (text.isEmpty())
        return {};
    const QStringList parts = text.split(text.contains(u'T') ? u'T' : u' ');
    const QString day = parts.first().trimmed();
    const QString time = parts.value(1).trimmed().replace(u'-', u':');
    const bool dashed = day.contains(u'-');
    const char *format = time.isEmpty()                  ? "yyyyMMdd"
                         : time.contains(u'Z')           ? "yyyyMMdd hhmmssZ"
                         : dashed && time.contains(u'.') ? "yyyy-MM-dd hh:mm:ss.zzz"
                         : dashed                        ? "yyyy-MM-dd hh:mm:ss"
                                                         : "yyyyMMdd hhmmss";
    return epoch_text(wall_clock(QString(day + u' ' + time).trimmed(), format));
}

int plugin_static_function::convert_timezone_to_seconds(QString hours_and_minutes)
{
    const qint64 hours = hours_and_minutes.left(2).toInt();
    const qint64 minutes = hours_and_minutes.mid(2).toInt();
    return static_cast<int>(hours * seconds_per_hour + minutes * seconds_per_minute);
}

QString plugin_static_function::convert_timestamp_to_human_readable_in_UTC(QString seconds_since_epoch)
{
    const int seconds = before_first_dot(seconds_since_epoch.trimmed()).toInt();
    return seconds == 0
               ? QString()
               : QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC).toString(QStringLiteral("dd-MMM-yyyy hh:mm:ss"));
}

QString plugin_static_function::get_human_readable_time(QString seconds)
{
    const QString text = seconds.trimmed();
    const int count = before_first_dot(text).toInt();
    if (text.isEmpty() || count < 0)
        return {};
    const auto two_digits = [](int number) { return QStringLiteral("%1").arg(number, 2, 10, QChar(u'0')); };
    const QString minutes_and_seconds =
        two_digits(count % seconds_per_hour / seconds_per_minute) + u':' + two_digits(count % seconds_per_minute);
    const int hours = count / seconds_per_hour;
    if (hours == 0)
        return minutes_and_seconds + QLatin1StringView(" Min");
    return two_digits(hours) + u':' + minutes_and_seconds + QLatin1StringView(" Hrs");
}

QDateTime plugin_static_function::get_datetime_from_string_with_iso_date(QString date)
{
    const log_span span("Start ", "End ");
    const QString text = date.trimmed();
    QDateTime time = QDateTime::fromString(text, Qt::ISODate);
    const QStringList parts = text.split(u' ');
    if (!time.isValid() && parts.size() > 2)
        time = QDateTime::fromString(parts.at(0) + u' ' + parts.at(1) + parts.at(2), Qt::ISODate);
    return time;
}

struct_posix_timestamp plugin_static_function::get_posix_timestamp(QString file_path, QString root_path)
{
    const QString path = file_path.trimmed();
    const QString root = root_path.trimmed();
    const QFileInfo file(root + path);
    if (path.isEmpty() || root.isEmpty() || !file.exists())
        return {};
    const auto seconds = [](const QDateTime &time) { return time.isValid() ? time.toSecsSinceEpoch() : 0; };
    return {seconds(file.birthTime()), seconds(file.lastRead()), seconds(file.lastModified())};
}
