/// The property-list readers, the same on every platform; property_objects.h covers the differences.
#include "common/log_line.h"
#include "common/platform/property_objects.h"
#include "common/plugin_static_function.h"

#include <QDateTime>

#include <limits>

using namespace property_objects;

namespace {

constexpr QLatin1StringView label_separator(":+:");
constexpr qint64 milliseconds_per_second = 1000;

bool is_number(object value)
{
    return kind_of(value) == kind::number || kind_of(value) == kind::boolean;
}

bool is_text(object value)
{
    return kind_of(value) == kind::text;
}

/// Cut towards zero; a number that does not fit becomes the nearest one that does.
qint64 truncated(double number)
{
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (!(number < limit))
        return number >= limit ? std::numeric_limits<qint64>::max() : 0; // 0 for NaN
    return number < -limit ? std::numeric_limits<qint64>::min() : static_cast<qint64>(number);
}

QString yes_no(object number)
{
    const qint64 value = truncated(number_of(number));
    return value == 0 ? QStringLiteral("NO") : value == 1 ? QStringLiteral("YES") : QString();
}

/// The value, when it is of the class that `is_wanted` tests. It is looked up again after the test, as it may be gone
/// by then.
object wanted_value(object key, object dictionary, bool (*is_wanted)(object), const log_head &failure,
                    const QString &key_text)
{
    if (!is_wanted(value_for_key(key, dictionary)))
        return nullptr;
    const object value = value_for_key(key, dictionary);
    if (!value)
        log_line(failure, key_text);
    return value;
}

/// The wall-clock time of a description, taken as UTC, as the text of an unsigned number of seconds; "0" when it cannot
/// be read.
QString epoch_of_description(const QString &description)
{
    QDateTime time = plugin_static_function::get_datetime_from_string_with_iso_date(description);
    time.setTimeSpec(Qt::UTC);
    return QString::number(QString::number(time.isValid() ? time.toSecsSinceEpoch() : 0).toULongLong());
}

} // namespace

QString plugin_static_function::convert_cfstring_to_qstring(const void *cfstring)
{
    const pool autorelease;
    return text_of(cfstring);
}

QString plugin_static_function::get_nsstring_values(void *key, void *dictionary)
{
    const pool autorelease;
    const object value =
        wanted_value(key, dictionary, is_text, "[get_nsstring_values]-----FAILED----- to get value: ", text_of(key));
    return text_of(value).trimmed();
}

QString plugin_static_function::get_nsnumber_values(void *key, void *dictionary)
{
    const pool autorelease;
    const object value =
        wanted_value(key, dictionary, is_number, "[get_nsnumber_values]-----FAILED----- to get value: ", text_of(key));
    return value ? QString::number(truncated(number_of(value))) : QString();
}

/// Only for booleans: a plain 0 or 1 gives nothing.
QString plugin_static_function::get_nsnumber_values_yes_no(void *key, void *dictionary)
{
    const pool autorelease;
    const object value =
        wanted_value(key, dictionary, is_number,
                     "[get_nsnumber_values_yes_no]-----FAILED----- to get value: ", text_of(key).trimmed());
    return kind_of(value) == kind::boolean ? yes_no(value) : QString();
}

QString plugin_static_function::get_nsstring_key_and_values(void *key, void *dictionary, QString label)
{
    const pool autorelease;
    const object value = value_for_key(key, dictionary);
    return is_text(value) ? label + label_separator + text_of(value).trimmed() : QString();
}

QString plugin_static_function::get_nsnumber_key_and_values(void *key, void *dictionary, QString label)
{
    const pool autorelease;
    const object value = value_for_key(key, dictionary);
    return is_number(value) ? label + label_separator + QString::number(truncated(number_of(value))) : QString();
}

/// For every number, unlike its sibling without a label: the integer 1 is "YES" here.
QString plugin_static_function::get_nsnumber_key_and_value_yes_no(void *key, void *dictionary, QString label)
{
    const pool autorelease;
    const object value = value_for_key(key, dictionary);
    return is_number(value) ? label + label_separator + yes_no(value) : QString();
}

QString plugin_static_function::get_nsarray_key_and_values(void *key, void *dictionary, QString label)
{
    const pool autorelease;
    const object list = value_for_key(key, dictionary);
    if (kind_of(list) != kind::list)
        return {};
    QStringList items;
    for (const object item : items_of(list)) {
        if (bool_cancel_extraction.is_set())
            return {};
        items.append(text_of(item).trimmed());
    }
    return label + label_separator + items.join(u';');
}

struct_GLOBAL_ARTIFACT_used_dates plugin_static_function::extract_used_date(QString file_path)
{
    const pool autorelease;
    struct_GLOBAL_ARTIFACT_used_dates dates;
    if (const auto last_used = attribute_description(file_path, QStringLiteral("kMDItemLastUsedDate")))
        dates.last_used_date = epoch_of_description(*last_used);
    const auto used = attribute_description(file_path, QStringLiteral("kMDItemUsedDates"));
    for (const QString &part : used.value_or(QString()).remove(u'(').remove(u')').remove(u'"').split(u',')) {
        if (bool_cancel_extraction.is_set())
            break;
        if (!part.trimmed().isEmpty())
            dates.used_dates_QStringList.append(epoch_of_description(part.trimmed()));
    }
    dates.first_used_date = dates.used_dates_QStringList.value(0);
    dates.latest_used_date = dates.used_dates_QStringList.value(dates.used_dates_QStringList.size() - 1);
    return dates;
}

/// Written in local time and read back as UTC: the result is shifted by the machine's offset at that date.
qint64 plugin_static_function::convert_nsdate_to_epoch(NSDate *date, NSObject *object_to_test)
{
    const pool autorelease;
    if (!date || kind_of(object_to_test) != kind::date)
        return 0;
    const QString format = QStringLiteral("dd-MMM-yyyy,HH:mm:ss a");
    const QDateTime time = QDateTime::fromString(formatted_date(date, format) + QLatin1StringView(" UTC"),
                                                 format + QLatin1StringView(" t"));
    return time.isValid() ? time.toMSecsSinceEpoch() / milliseconds_per_second : 0;
}
