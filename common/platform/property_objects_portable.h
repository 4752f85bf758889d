/// Property lists on a platform without Foundation: files and bytes in, objects for the readers out.
#pragma once

#include "common/platform/property_objects.h"

#include <QByteArray>

namespace property_objects {

/// A property list, XML or binary, read by libplist. Its objects live as long as it does.
class property_list
{
public:
    explicit property_list(const QByteArray &bytes);
    ~property_list();
    Q_DISABLE_COPY_MOVE(property_list)

    /// The outermost object, usually a dictionary; null when the bytes are not a property list or would unfold to too
    /// many objects.
    [[nodiscard]] object root() const { return node; }

private:
    void *node = nullptr;
};

/// A text as an object, to be used as a key.
class text_object
{
public:
    explicit text_object(const QString &text);
    ~text_object();
    Q_DISABLE_COPY_MOVE(text_object)

    [[nodiscard]] object get() const { return node; }

private:
    void *node;
};

/// The text by which macOS describes texts, dates and lists of them; empty for other kinds.
[[nodiscard]] QString description_of(object value);

} // namespace property_objects
