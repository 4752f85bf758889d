/// Named connections to SQLite files, as every part of the library opens them.
#pragma once

#include <QSqlDatabase>

/// A new, unopened connection called `name` to the SQLite file at `path`. A connection of that name left from an
/// earlier call is removed first; no query on it may be alive.
[[nodiscard]] QSqlDatabase new_connection(const QString &name, const QString &path);

/// A connection that is open while the object lives. Afterwards it stays registered under its name, closed.
class open_database
{
public:
    /// A file that does not exist is created, unless the driver's `options` say otherwise. An empty path is not opened.
    open_database(const QString &name, const QString &path, const QString &options = {});
    ~open_database();
    Q_DISABLE_COPY_MOVE(open_database)

    [[nodiscard]] bool is_open() const { return db.isOpen(); }
    [[nodiscard]] const QSqlDatabase &connection() const { return db; }

private:
    QSqlDatabase db;
};
