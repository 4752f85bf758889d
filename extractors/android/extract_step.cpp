#include "extractors/android/extract_step.h"

#include "common/plugin_static_function.h"
#include "extractors/row_writer.h"

namespace columns {

namespace {

constexpr qint64 milliseconds_per_second = 1000;

bool is_integer(const QVariant &value)
{
    return value.userType() == QMetaType::LongLong;
}

QVariant null_text()
{
    return QVariant(QMetaType::fromType<QString>());
}

} // namespace

QVariant text_of(const QVariant &read)
{
    if (read.isNull())
        return null_text();
    return read.userType() == QMetaType::QString ? read : bound_text(read.toString());
}

QVariant seconds_of(const QVariant &milliseconds)
{
    if (is_integer(milliseconds))
        return QString::number(milliseconds.toLongLong() / milliseconds_per_second);
    if (milliseconds.isNull())
        return null_text();
    const QString text = milliseconds.toString().trimmed();
    return text.isEmpty() ? bound_text(text) : QString::number(text.toLongLong() / milliseconds_per_second);
}

QVariant yes_no_of(const QVariant &flag)
{
    static const QVariant yes(QStringLiteral("YES"));
    static const QVariant no(QStringLiteral("NO"));
    const bool set = is_integer(flag) ? flag.toLongLong() == 1 : flag.toString() == u'1';
    return set ? yes : no;
}

QVariant google_time_of(const QVariant &microseconds)
{
    return microseconds.isNull()
               ? null_text()
               : bound_text(plugin_static_function::convert_google_time_to_epoch(microseconds.toString()));
}

} // namespace columns
