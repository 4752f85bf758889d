#include "extractors/takeout/mail_headers.h"

#include <QDateTime>
#include <QStringList>

#include <optional>

namespace mail_headers {

namespace {

constexpr qint64 seconds_per_minute = 60;
constexpr qint64 seconds_per_hour = 3600;

/// The pieces at even positions: first, third, fifth ...
template <class Append>
void for_every_second(const QList<QStringView> &pieces, Append append)
{
    for (qsizetype i = 0; i < pieces.size(); i += 2)
        append(pieces.at(i));
}

/// The time as Qt reads it, names of days and months in English. Day and time are read by themselves: read as a local
/// time, one that daylight saving skips on this machine would be refused or moved.
std::optional<qint64> seconds_by_qt(QStringView wall_clock)
{
    const qsizetype blank = wall_clock.lastIndexOf(u' ');
    const QDate day = QDate::fromString(wall_clock.left(blank).toString(), QStringLiteral("ddd, d MMM yyyy"));
    const QTime time = QTime::fromString(wall_clock.sliced(blank + 1).toString(), QStringLiteral("hh:mm:ss"));
    if (!day.isValid() || !time.isValid())
        return {};
    return QDateTime(day, time, Qt::UTC).toSecsSinceEpoch();
}

int leading_number(QStringView digits)
{
    return digits.toInt(); // 0 when it is none
}

} // namespace

line line_at(QByteArrayView message, qsizetype begin)
{
    if (begin < 0)
        return {};
    const qsizetype end = message.indexOf('\n', begin);
    return end < 0 ? line() : line{QString::fromLocal8Bit(message.sliced(begin, end - begin)), end};
}

QString without_name(const QString &text, QLatin1StringView name)
{
    return text.startsWith(name) ? text.sliced(name.size()) : text;
}

QString recipient_names(const QString &recipients)
{
    QList<QStringView> pieces;
    for (const QStringView entry : QStringView(recipients).split(u',', Qt::SkipEmptyParts))
        pieces += entry.split(u'<', Qt::SkipEmptyParts);
    QString names;
    for_every_second(pieces, [&names](QStringView piece) { names += piece + u','; });
    names.chop(1);
    return names.trimmed();
}

QString sender_name(const QString &sender)
{
    QString name;
    for_every_second(QStringView(sender).split(u'<', Qt::SkipEmptyParts),
                     [&name](QStringView piece) { name += piece.trimmed(); });
    return name;
}

qint64 epoch_of_date(const QString &date_text)
{
    const QStringView text(date_text);
    const QChar sign = text.contains(u'+') ? u'+' : u'-';
    const QList<QStringView> parts = text.split(sign);
    const std::optional<qint64> wall_clock = seconds_by_qt(parts.first().trimmed());
    if (!wall_clock)
        return 0;
    if (parts.size() < 2)
        return *wall_clock;
    const QStringView offset = parts.at(1).trimmed();
    const qint64 seconds =
        leading_number(offset.left(2)) * seconds_per_hour + leading_number(offset.mid(2, 2)) * seconds_per_minute;
    return sign == u'+' ? *wall_clock - seconds : *wall_clock + seconds;
}

} // namespace mail_headers
