/// The implementation with libplist, and with the extended attributes of files copied from macOS.
#include "common/platform/property_objects_portable.h"

#include "common/platform/binary_property_list.h"

#include <QDateTime>
#include <QFile>
#include <QStringList>

#include <plist/plist.h>

#include <cstdlib>

#if defined(Q_OS_LINUX)
#    include <sys/xattr.h>
#endif

namespace property_objects {

namespace {

/// libplist takes its nodes without const.
plist_t node_of(object value)
{
    return const_cast<plist_t>(value);
}

/// A date or an integer as libplist writes it into XML. Its own functions read a date in 32 bits and cannot distinguish
/// a negative integer from one of 2^63 or more.
QString text_in_xml(object value)
{
    char *xml = nullptr;
    uint32_t size = 0;
    plist_to_xml(node_of(value), &xml, &size);
    const QString text = QString::fromUtf8(xml, static_cast<qsizetype>(size));
    plist_to_xml_free(xml);
    const qsizetype end_of_list = text.lastIndexOf(QLatin1StringView("</"));
    const qsizetype end = end_of_list < 1 ? -1 : text.lastIndexOf(QLatin1StringView("</"), end_of_list - 1);
    return end < 0 ? QString() : text.left(end).section(u'>', -1);
}

QDateTime date_of(object date)
{
    return QDateTime::fromString(text_in_xml(date), Qt::ISODate).toUTC();
}

/// The bytes of an extended attribute; nullopt when it does not exist.
std::optional<QByteArray> extended_attribute([[maybe_unused]] const QString &path,
                                             [[maybe_unused]] const QByteArray &name)
{
#if defined(Q_OS_LINUX)
    const QByteArray file = QFile::encodeName(path);
    const ssize_t size = ::getxattr(file.constData(), name.constData(), nullptr, 0);
    if (size >= 0) {
        QByteArray bytes(size, Qt::Uninitialized);
        const ssize_t read =
            ::getxattr(file.constData(), name.constData(), bytes.data(), static_cast<std::size_t>(size));
        if (read == size)
            return bytes;
    }
#endif
    return {};
}

} // namespace

property_list::property_list(const QByteArray &bytes)
{
    if (unfolds_moderately(bytes))
        plist_from_memory(bytes.constData(), static_cast<uint32_t>(bytes.size()), &node);
}

property_list::~property_list()
{
    plist_free(node);
}

text_object::text_object(const QString &text)
    : node(plist_new_string(text.toUtf8().constData()))
{
}

text_object::~text_object()
{
    plist_free(node);
}

QString description_of(object value)
{
    switch (kind_of(value)) {
    case kind::text:
        return text_of(value);
    case kind::date:
        return date_of(value).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")) + QLatin1StringView(" +0000");
    case kind::list: {
        QStringList items;
        for (const object item : items_of(value))
            items.append(u'"' + description_of(item) + u'"');
        return QLatin1StringView("(\n    ") + items.join(QLatin1StringView(",\n    ")) + QLatin1StringView("\n)");
    }
    default:
        return {};
    }
}

// Nothing is handed out without an owner here.
pool::pool() = default;
pool::~pool() = default;

kind kind_of(object value)
{
    if (!value)
        return kind::missing;
    switch (plist_get_node_type(node_of(value))) {
    case PLIST_STRING:
        return kind::text;
    case PLIST_UINT:
    case PLIST_REAL:
        return kind::number;
    case PLIST_BOOLEAN:
        return kind::boolean;
    case PLIST_ARRAY:
        return kind::list;
    case PLIST_DATE:
        return kind::date;
    default:
        return kind::other;
    }
}

object value_for_key(object key, object dictionary)
{
    if (!dictionary || plist_get_node_type(node_of(dictionary)) != PLIST_DICT || kind_of(key) != kind::text)
        return nullptr;
    return plist_dict_get_item(node_of(dictionary), plist_get_string_ptr(node_of(key), nullptr));
}

QString text_of(object text)
{
    if (kind_of(text) != kind::text)
        return {};
    uint64_t size = 0;
    const char *bytes = plist_get_string_ptr(node_of(text), &size);
    return QString::fromUtf8(bytes, static_cast<qsizetype>(size));
}

double number_of(object number)
{
    if (!number)
        return 0;
    plist_t node = node_of(number);
    double real = 0;
    uint8_t boolean = 0;
    switch (plist_get_node_type(node)) {
    case PLIST_REAL:
        plist_get_real_val(node, &real);
        return real;
    case PLIST_UINT:
        return text_in_xml(number).toDouble();
    case PLIST_BOOLEAN:
        plist_get_bool_val(node, &boolean);
        return boolean != 0 ? 1 : 0;
    default:
        return 0;
    }
}

/// In one walk: to find an item by its number, libplist goes through all items before it.
QList<object> items_of(object list)
{
    QList<object> items;
    if (kind_of(list) != kind::list)
        return items;
    plist_array_iter position = nullptr;
    plist_array_new_iter(node_of(list), &position);
    plist_t item = nullptr;
    for (plist_array_next_item(node_of(list), position, &item); item;
         plist_array_next_item(node_of(list), position, &item))
        items.append(item);
    std::free(position);
    return items;
}

QString formatted_date(object date, const QString &format)
{
    return kind_of(date) == kind::date ? date_of(date).toLocalTime().toString(format) : QString();
}

/// Copies of macOS files carry the attributes of their metadata, under Linux as user attributes.
std::optional<QString> attribute_description(const QString &file_path, const QString &name)
{
    for (const char *prefix : {"user.com.apple.metadata:", "com.apple.metadata:"}) {
        const std::optional<QByteArray> bytes = extended_attribute(file_path, prefix + name.toUtf8());
        if (!bytes)
            continue;
        const property_list value(*bytes);
        if (value.root())
            return description_of(value.root());
    }
    return {};
}

} // namespace property_objects
