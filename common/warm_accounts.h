/// The accounts that the Android application warmed up last, as its preferences (an XML file) list them.
#pragma once

#include <QStringList>

#include <optional>

class QIODevice;

namespace warm_accounts {

/// A file of preferences is read at once. A device writes some hundred bytes.
constexpr qint64 max_bytes = 64 * 1024 * 1024;

/// Of an element; and declared prefixes of the file.
constexpr qsizetype max_attributes = 4096;

/// The lines of every element whose name attribute is "lastly_warmed_up_accounts", trimmed, without blank ones; up to
/// where the file ends early. `preferences` is open for reading.
///
/// None for a file that is too large, or whose XML would keep Qt's reader busy out of proportion to its size: it
/// compares each attribute of an element with all the others, looks each prefix up among all that were declared, and
/// gives each element all attributes that have a default.
[[nodiscard]] std::optional<QStringList> read_from(QIODevice &preferences);

} // namespace warm_accounts
