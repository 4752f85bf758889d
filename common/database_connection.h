/// Named connections to SQLite files, as every part of the library opens them.
#pragma once

#include <QString>

class QSqlDatabase;

/// A new, unopened connection called `name` to the SQLite file at `path`. A connection of that name left from an
/// earlier call is removed first; no query on it may be alive.
[[nodiscard]] QSqlDatabase new_connection(const QString &name, const QString &path);
