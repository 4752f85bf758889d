/// The most recently warmed-up accounts of the Android application, as its preferences (an XML file) list them.
#pragma once

#include <QStringList>

#include <optional>

class QIODevice;

namespace warm_accounts {

/// The preferences are read as a whole. A device writes a few hundred bytes.
constexpr qint64 max_bytes = 64 * 1024 * 1024;

/// For one element; also the limit of declared prefixes in the file.
constexpr qsizetype max_attributes = 4096;

/// The lines of every element whose name attribute is "lastly_warmed_up_accounts", trimmed, without blank ones; up to
/// where the file ends early. `preferences` is open for reading.
///
/// nullopt for a file that is too large, or whose XML would keep Qt's reader busy out of proportion to its size: it
/// compares each attribute of an element with all the others, looks each prefix up among all that were declared, and
/// gives each element all attributes that have a default.
[[nodiscard]] std::optional<QStringList> read_from(QIODevice &preferences);

} // namespace warm_accounts
