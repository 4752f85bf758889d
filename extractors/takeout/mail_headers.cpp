#include "extractors/takeout/mail_headers.h"

#include <QDateTime>

#include <optional>

namespace mail_headers {

namespace {

constexpr qint64 seconds_per_minute = 60;
constexpr qint64 seconds_per_hour = 3600;

/// Cuts a text at `is_cut` and calls `take` with the first, third, fifth ... piece. Empty pieces do not count.
template <class IsCut, class Take>
void for_every_second_piece(QStringView text, IsCut is_cut, Take take)
{
    bool wanted = true;
    for (qsizetype begin = 0, end = 0; end <= text.size(); ++end) {
        if (end < text.size() && !is_cut(text[end]))
            continue;
        if (end > begin) {
            if (wanted)
                take(text.sliced(begin, end - begin));
            wanted = !wanted;
        }
        begin = end + 1;
    }
}

/// Reads a text of fixed pieces from left to right. After a piece that does not fit, none fits.
class piece_reader
{
public:
    explicit piece_reader(QStringView all)
        : rest(all)
    {
    }

    /// A number of `fewest` to `most` digits.
    int number(qsizetype fewest, qsizetype most)
    {
        int value = 0;
        qsizetype digits = 0;
        for (; digits < most && digits < rest.size() && rest[digits] >= u'0' && rest[digits] <= u'9'; ++digits)
            value = value * 10 + (rest[digits].unicode() - u'0');
        take(digits, digits >= fewest);
        return value;
    }

    /// One of the names in `three_letter_names`, counted from 1.
    int name(QStringView three_letter_names)
    {
        const qsizetype at = rest.size() < 3 ? -1 : three_letter_names.indexOf(rest.first(3));
        take(3, at >= 0 && at % 3 == 0);
        return static_cast<int>(at / 3) + 1;
    }

    void expect(QStringView text) { take(text.size(), rest.startsWith(text)); }

    [[nodiscard]] bool all_read() const { return fits && rest.isEmpty(); }

private:
    void take(qsizetype size, bool as_expected)
    {
        fits = fits && as_expected;
        rest = fits ? rest.sliced(size) : QStringView();
    }

    QStringView rest;
    bool fits = true;
};

/// The ordinary case of the dates that Qt reads below, many times faster: "Mon, 5 Jan 2015 10:11:12", names
/// capitalised.
std::optional<qint64> seconds_of_ordinary_date(QStringView wall_clock)
{
    piece_reader pieces(wall_clock);
    const int weekday = pieces.name(u"MonTueWedThuFriSatSun");
    pieces.expect(u", ");
    const int day = pieces.number(1, 2);
    pieces.expect(u" ");
    const int month = pieces.name(u"JanFebMarAprMayJunJulAugSepOctNovDec");
    pieces.expect(u" ");
    const int year = pieces.number(4, 4);
    pieces.expect(u" ");
    const int hour = pieces.number(2, 2);
    pieces.expect(u":");
    const int minute = pieces.number(2, 2);
    pieces.expect(u":");
    const int second = pieces.number(2, 2);
    const QDate date(year, month, day);
    if (!pieces.all_read() || !date.isValid() || date.dayOfWeek() != weekday || !QTime::isValid(hour, minute, second))
        return {};
    constexpr qint64 julian_day_of_epoch = 2440588;
    return ((date.toJulianDay() - julian_day_of_epoch) * 24 + hour) * seconds_per_hour + minute * seconds_per_minute +
           second;
}

/// The time as Qt reads it, with English names of days and months. Day and time are read separately: read together as
/// local time, a time that daylight saving skips on this machine would be refused or moved.
std::optional<qint64> seconds_by_qt(QStringView wall_clock)
{
    const qsizetype blank = wall_clock.lastIndexOf(u' ');
    const QDate day = QDate::fromString(wall_clock.left(blank).toString(), QStringLiteral("ddd, d MMM yyyy"));
    const QTime time = QTime::fromString(wall_clock.sliced(blank + 1).toString(), QStringLiteral("hh:mm:ss"));
    if (!day.isValid() || !time.isValid())
        return {};
    return QDateTime(day, time, Qt::UTC).toSecsSinceEpoch();
}

std::optional<qint64> seconds_of(QStringView wall_clock)
{
    const std::optional<qint64> ordinary = seconds_of_ordinary_date(wall_clock);
    return ordinary ? ordinary : seconds_by_qt(wall_clock);
}

int leading_number(QStringView digits)
{
    return digits.toInt(); // 0 when it is not a number
}

} // namespace

line line_at(QByteArrayView message, qsizetype begin)
{
    if (begin < 0)
        return {};
    const qsizetype end = message.indexOf('\n', begin);
    return end < 0 ? line() : line{QString::fromLocal8Bit(message.sliced(begin, end - begin)), end};
}

QString without_name(QString text, QLatin1StringView name)
{
    if (text.startsWith(name))
        text.remove(0, name.size());
    return text;
}

QString recipient_names(const QString &recipients)
{
    QString names;
    names.reserve(recipients.size() + 1);
    // Cutting at commas first and then at "<" gives the same pieces.
    for_every_second_piece(
        recipients, [](QChar letter) { return letter == u',' || letter == u'<'; },
        [&names](QStringView piece) { names.append(piece).append(u','); });
    names.chop(1);
    return std::move(names).trimmed();
}

QString sender_name(const QString &sender)
{
    QString name;
    for_every_second_piece(
        sender, [](QChar letter) { return letter == u'<'; }, [&name](QStringView piece) { name += piece.trimmed(); });
    return name;
}

qint64 epoch_of_date(const QString &date_text)
{
    const QStringView text(date_text);
    const QChar sign = text.contains(u'+') ? u'+' : u'-';
    const QList<QStringView> parts = text.split(sign);
    const std::optional<qint64> wall_clock = seconds_of(parts.first().trimmed());
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
