/// The platform's part of the property-list readers, in two implementations: Foundation and CoreServices on macOS
/// (property_objects_foundation.mm), libplist elsewhere (property_objects_portable.cpp).
///
/// Objects are untyped pointers, owned by their maker: NSString, NSNumber, NSDictionary and so on, or libplist nodes.
/// Null is a valid object: nothing. No function fails; comments say what each returns for other kinds of object.
#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace property_objects {

using object = const void *;

enum class kind {
    missing, ///< null
    text,
    number,  ///< except booleans
    boolean, ///< a number whose run-time class is "__NSCFBoolean"
    list,
    date,
    other,
};

/// While it lives, objects that the platform hands out without an owner stay alive.
class pool
{
public:
    pool();
    ~pool(); // NOLINT(performance-trivially-destructible): not trivial with Foundation
    Q_DISABLE_COPY_MOVE(pool)

private:
    [[maybe_unused]] void *handle = nullptr; // Foundation only
};

[[nodiscard]] kind kind_of(object value);

/// The value of a dictionary; null when there is none or it is not a dictionary.
[[nodiscard]] object value_for_key(object key, object dictionary);

[[nodiscard]] QString text_of(object text);        ///< empty for other kinds
[[nodiscard]] double number_of(object number);     ///< 1 or 0 for a boolean; 0 for other kinds
[[nodiscard]] QList<object> items_of(object list); ///< none for other kinds

/// The date as text in this machine's local time; `format` consists of the letters that Foundation and Qt share (dd,
/// MMM, yyyy, HH, mm, ss, a). Empty for other kinds.
[[nodiscard]] QString formatted_date(object date, const QString &format);

/// The textual description of a file's metadata attribute, such as "2015-01-05 10:11:12 +0000" for a date and
/// ("...", "...") for a list of dates. None when the file or the attribute does not exist.
[[nodiscard]] std::optional<QString> attribute_description(const QString &file_path, const QString &name);

} // namespace property_objects
