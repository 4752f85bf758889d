/// Texts as rows contain them. A null text is NULL, an empty one is not.
#pragma once

#include <QString>

/// Between several paths in one column.
constexpr QLatin1StringView record_joiner(";++::++;");

/// Computed values are never NULL: a null text becomes an empty one.
[[nodiscard]] QString never_null(const QString &text);

/// `path` below the source's root, which ends in "/"; with a leading "/", unless it is empty.
[[nodiscard]] QString path_below(const QString &root, const QString &path);

/// The value of source_file for rows that come from `path`; `path_kind` is the type in the source settings.
[[nodiscard]] QString source_file_value(const QString &root, const QString &path, const QString &path_kind);
