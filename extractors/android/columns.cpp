#include "extractors/android/columns.h"

#include "common/plugin_static_function.h"
#include "extractors/rows/texts.h"

namespace columns {

namespace {

constexpr qint64 milliseconds_per_second = 1000;

bool is_integer(const QVariant &value)
{
    return value.userType() == QMetaType::LongLong;
}

} // namespace

QString text_of(const QVariant &read)
{
    return read.isNull() ? QString() : never_null(read.toString());
}

QString seconds_of(const QVariant &milliseconds)
{
    if (is_integer(milliseconds))
        return QString::number(milliseconds.toLongLong() / milliseconds_per_second);
    const QString text = text_of(milliseconds).trimmed();
    return text.isEmpty() ? text : QString::number(text.toLongLong() / milliseconds_per_second);
}

QString yes_no_of(const QVariant &flag)
{
    const bool is_set = is_integer(flag) ? flag.toLongLong() == 1 : flag.toString() == u'1';
    return is_set ? QStringLiteral("YES") : QStringLiteral("NO");
}

QString google_time_of(const QVariant &microseconds)
{
    if (microseconds.isNull())
        return {};
    return never_null(plugin_static_function::convert_google_time_to_epoch(microseconds.toString()));
}

} // namespace columns
