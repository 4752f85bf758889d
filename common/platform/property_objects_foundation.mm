/// The implementation with Foundation and CoreServices. Compiled without automatic reference counting.
#include "common/platform/property_objects.h"

#import <CoreServices/CoreServices.h>
#import <Foundation/Foundation.h>

namespace property_objects {

namespace {

id object_of(object value)
{
    return static_cast<id>(const_cast<void *>(value));
}

/// A CoreFoundation object that is released with its scope.
template <class Reference>
class owned
{
public:
    explicit owned(Reference made)
        : reference(made)
    {
    }
    ~owned()
    {
        if (reference)
            CFRelease(reference);
    }
    Q_DISABLE_COPY_MOVE(owned)

    Reference get() const { return reference; }

private:
    Reference reference;
};

} // namespace

pool::pool()
    : handle([[NSAutoreleasePool alloc] init])
{
}

pool::~pool()
{
    [static_cast<NSAutoreleasePool *>(handle) drain];
}

kind kind_of(object value)
{
    const id subject = object_of(value);
    if (!subject)
        return kind::missing;
    if ([subject isKindOfClass:[NSString class]])
        return kind::text;
    if ([subject isKindOfClass:[NSNumber class]]) {
        const QString run_time_class = QString::fromNSString(NSStringFromClass([subject class])).trimmed();
        return run_time_class == QLatin1StringView("__NSCFBoolean") ? kind::boolean : kind::number;
    }
    if ([subject isKindOfClass:[NSArray class]])
        return kind::list;
    if ([subject isKindOfClass:[NSDate class]])
        return kind::date;
    return kind::other;
}

object value_for_key(object key, object dictionary)
{
    const id subject = object_of(dictionary);
    if (!key || ![subject respondsToSelector:@selector(objectForKey:)])
        return nullptr;
    return [subject objectForKey:object_of(key)];
}

QString text_of(object text)
{
    return kind_of(text) == kind::text ? QString::fromNSString(static_cast<NSString *>(object_of(text))) : QString();
}

double number_of(object number)
{
    const kind its_kind = kind_of(number);
    const bool is_number = its_kind == kind::number || its_kind == kind::boolean;
    return is_number ? [static_cast<NSNumber *>(object_of(number)) doubleValue] : 0;
}

QList<object> items_of(object list)
{
    QList<object> items;
    if (kind_of(list) == kind::list) {
        for (id item in static_cast<NSArray *>(object_of(list)))
            items.append(item);
    }
    return items;
}

QString formatted_date(object date, const QString &format)
{
    if (kind_of(date) != kind::date)
        return {};
    NSDateFormatter *formatter = [[[NSDateFormatter alloc] init] autorelease];
    [formatter setDateFormat:format.toNSString()];
    return QString::fromNSString([formatter stringFromDate:static_cast<NSDate *>(object_of(date))]);
}

std::optional<QString> attribute_description(const QString &file_path, const QString &name)
{
    const auto as_cfstring = [](const QString &text) {
        return CFStringCreateWithCString(kCFAllocatorDefault, text.toUtf8().constData(), kCFStringEncodingUTF8);
    };
    const owned path(as_cfstring(file_path));
    const owned attribute(as_cfstring(name));
    const owned item(path.get() ? MDItemCreate(kCFAllocatorDefault, path.get()) : nullptr);
    if (!item.get() || !attribute.get())
        return {};
    const owned value(MDItemCopyAttribute(item.get(), attribute.get()));
    if (!value.get())
        return {};
    const owned description(CFCopyDescription(value.get()));
    const char *bytes = CFStringGetCStringPtr(description.get(), kCFStringEncodingMacRoman);
    return QString::fromLatin1(bytes ? bytes : ""); // descriptions of dates are ASCII
}

} // namespace property_objects
