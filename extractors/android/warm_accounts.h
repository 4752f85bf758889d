/// The accounts that the application warmed up last, as its preferences (an XML file) list them.
#pragma once

#include <QStringList>

#include <optional>

/// The lines of every element whose name attribute is "lastly_warmed_up_accounts", trimmed, blank ones left out; up to
/// where the file breaks off. None for XML that would keep Qt's reader busy far beyond its size: it compares each
/// attribute of an element with all the others, looks each prefix up among all that were declared, and gives each
/// element all attributes that have a default.
[[nodiscard]] std::optional<QStringList> lastly_warmed_up_accounts(const QByteArray &preferences);

constexpr qsizetype most_attributes_of_element = 4096; // and declared prefixes of the file
