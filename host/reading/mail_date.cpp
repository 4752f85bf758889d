#include "host/reading/mail_date.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QDate>

#include <algorithm>
#include <array>

namespace {

constexpr qint64 unix_epoch = 2440588; // Julian day
constexpr qint64 seconds_per_day = 86400;
constexpr qsizetype max_date_size = 1000; // bytes

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

bool is_number(QByteArrayView word)
{
    return !word.isEmpty() && word.size() <= 4 && std::all_of(word.begin(), word.end(), is_digit);
}

/// Replaces comments, which may be nested, by blanks.
QByteArray without_comments(QByteArrayView text)
{
    QByteArray result;
    int depth = 0;
    for (const char c : text) {
        depth += c == '(' ? 1 : 0;
        result += depth > 0 ? ' ' : c;
        depth -= c == ')' && depth > 0 ? 1 : 0;
    }
    return result;
}

int month_of(const QByteArray &word)
{
    static const QByteArrayList months = {"january", "february", "march",     "april",   "may",      "june",
                                          "july",    "august",   "september", "october", "november", "december"};
    const QByteArray name = word.toLower();
    for (int i = 0; i < months.size(); ++i) {
        if (name == months.at(i) || name == months.at(i).left(3) || (name == "sept" && i == 8))
            return i + 1;
    }
    return 0;
}

bool is_weekday(const QByteArray &word)
{
    static const QByteArrayList days = {"monday", "tuesday", "wednesday", "thursday", "friday", "saturday", "sunday"};
    const QByteArray name = word.toLower();
    return name.size() >= 3 &&
           std::any_of(days.begin(), days.end(), [&name](const QByteArray &day) { return day.startsWith(name); });
}

/// Seconds of "10:11", "10:11:12" or "10:11:12.5".
std::optional<int> time_of(QByteArrayView word)
{
    const QList<QByteArray> pieces = word.toByteArray().split(':');
    if (pieces.size() < 2 || pieces.size() > 3)
        return {};
    std::array<int, 3> values = {};
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        const QByteArray digits = i == 2 ? pieces.at(i).split('.').first() : pieces.at(i);
        if (!is_number(digits) || digits.size() > 2)
            return {};
        values.at(static_cast<std::size_t>(i)) = digits.toInt();
    }
    if (values[0] > 23 || values[1] > 59 || values[2] > 60)
        return {};
    return values[0] * 3600 + values[1] * 60 + values[2];
}

/// Seconds east of Greenwich, for "+0100", "+01:00", "GMT+0100" and the names that RFC 5322 knows.
std::optional<int> zone_of(QByteArray word)
{
    static constexpr std::array<std::pair<const char *, int>, 12> names = {{{"ut", 0},
                                                                            {"gmt", 0},
                                                                            {"utc", 0},
                                                                            {"z", 0},
                                                                            {"est", -5},
                                                                            {"edt", -4},
                                                                            {"cst", -6},
                                                                            {"cdt", -5},
                                                                            {"mst", -7},
                                                                            {"mdt", -6},
                                                                            {"pst", -8},
                                                                            {"pdt", -7}}};
    word = word.toLower();
    for (const auto &[name, hours] : names) {
        if (word == name)
            return hours * 3600;
    }
    if (word.startsWith("gmt") || word.startsWith("utc"))
        word.remove(0, 3);
    if (word.size() < 3 || (word.at(0) != '+' && word.at(0) != '-'))
        return {};
    const bool is_west = word.at(0) == '-';
    word.remove(0, 1);
    word.replace(':', "");
    if (word.size() == 2)
        word += "00";
    else if (word.size() == 3)
        word.prepend('0');
    if (word.size() != 4 || !is_number(word) || word.sliced(2).toInt() > 59)
        return {};
    const int seconds = word.first(2).toInt() * 3600 + word.sliced(2).toInt() * 60;
    return is_west ? -seconds : seconds;
}

std::optional<mail_date> date_from(int year, int month, int day, int time, std::optional<int> zone)
{
    if (year < 1 || year > 9999 || !QDate::isValid(year, month, day))
        return {};
    const qint64 days = QDate(year, month, day).toJulianDay() - unix_epoch;
    return mail_date{days * seconds_per_day + time - zone.value_or(0), zone.has_value()};
}

/// "2024-01-02T03:04:05.678+01:00", "2024-01-02 03:04 Z", "20240102T030405Z".
std::optional<mail_date> iso_date(QByteArray text)
{
    text = text.trimmed();
    if (text.size() > 15 && text.at(8) == 'T' && is_number(text.first(4)) && is_number(text.sliced(4, 4)) &&
        is_number(text.sliced(9, 4)))
        text = text.first(4) + '-' + text.sliced(4, 2) + '-' + text.sliced(6, 5) + ':' + text.sliced(11, 2) + ':' +
               text.sliced(13);
    if (text.size() < 16 || text.at(4) != '-' || text.at(7) != '-' || (text.at(10) != 'T' && text.at(10) != ' ') ||
        !is_number(text.first(4)) || !is_number(text.sliced(5, 2)) || !is_number(text.sliced(8, 2)))
        return {};
    qsizetype end = 11;
    while (end < text.size() && (is_digit(text.at(end)) || text.at(end) == ':' || text.at(end) == '.'))
        ++end;
    const std::optional<int> time = time_of(text.sliced(11, end - 11));
    const QByteArray rest = text.sliced(end).trimmed();
    const std::optional<int> zone = zone_of(rest);
    if (!time || (!rest.isEmpty() && !zone))
        return {};
    return date_from(text.first(4).toInt(), text.sliced(5, 2).toInt(), text.sliced(8, 2).toInt(), *time, zone);
}

/// The pieces of a date in words, in any order.
struct date_pieces
{
    int day = -1, month = 0, year = -1;
    std::optional<int> time, zone;
    bool unknown_zone = false;
    bool unreadable = false;

    void take(const QByteArray &word);
    void take_number(const QByteArray &word);
    [[nodiscard]] bool are_complete() const { return day > 0 && month > 0 && year >= 0 && time; }
};

void date_pieces::take_number(const QByteArray &word)
{
    const int value = word.toInt();
    if (word.size() <= 2 && day < 0) {
        day = value;
    } else if (year < 0 && word.size() != 1) {
        // Years of two and three digits are of the last century, or of this one.
        year = word.size() == 2 ? value + (value < 50 ? 2000 : 1900) : word.size() == 3 ? value + 1900 : value;
    } else {
        unreadable = !are_complete();
    }
}

void date_pieces::take(const QByteArray &word)
{
    if (is_number(word)) {
        take_number(word);
    } else if (!time && word.contains(':')) {
        time = time_of(word);
        unreadable |= !time;
    } else if (const QByteArray half = word.toLower(); time && !zone && (half == "am" || half == "pm")) {
        const int hours = *time / 3600;
        unreadable |= hours < 1 || hours > 12;
        *time += (half == "pm" ? 43200 : 0) - (hours == 12 ? 43200 : 0);
    } else if (month == 0 && month_of(word) > 0) {
        month = month_of(word);
    } else if (time && !zone && !unknown_zone) {
        zone = zone_of(word);
        unknown_zone = !zone;
    } else if (!is_weekday(word)) {
        unreadable |= !are_complete();
    }
}

/// "12-Jan-2001" becomes three words; "+0100" and "GMT-1" stay one.
QByteArrayList words_of(QByteArrayView text)
{
    QByteArrayList words;
    for (const QByteArray &word : without_comments(text).replace(',', ' ').simplified().split(' ')) {
        const QByteArrayList pieces = word.split('-');
        if (pieces.size() == 3 && is_number(pieces.at(0)) && month_of(pieces.at(1)) > 0)
            words += pieces;
        else
            words.append(word);
    }
    return words;
}

} // namespace

std::optional<mail_date> parse_mail_date(QByteArrayView text)
{
    if (text.size() > max_date_size)
        return {};
    if (const std::optional<mail_date> date = iso_date(text.toByteArray()))
        return date;
    date_pieces pieces;
    for (const QByteArray &word : words_of(text))
        pieces.take(word);
    if (pieces.unreadable || !pieces.are_complete())
        return {};
    return date_from(pieces.year, pieces.month, pieces.day, *pieces.time, pieces.zone);
}
