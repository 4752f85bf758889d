/// Reads one table of an untrusted database row by row from a private copy. Only ordinary tables are read.
#pragma once

#include "host/sqlite.h"

#include <QStringList>

/// A copy of a database with its write-ahead log, removed with this object.
class android_database
{
public:
    android_database() = default;
    ~android_database();
    Q_DISABLE_COPY_MOVE(android_database)

    /// Copy the database at `path` into `folder`, which exists, and open the copy. False, with `failure` set, when that
    /// fails.
    [[nodiscard]] bool open(const QString &path, const QString &folder);

    /// Prepare a query for the rows of a table in the order in which they are stored. A column that the table does not
    /// have is NULL. False when there is no such table; also, with `failure` set, when it is not an ordinary table or
    /// one of these columns is computed.
    [[nodiscard]] bool read(sqlite_statement &rows, const QByteArray &table, const QByteArrayList &columns);

    /// A sentence without the file's name; empty while all is well. Reading a damaged table sets it, too.
    [[nodiscard]] QString failure() const;

private:
    sqlite_connection connection;
    QString copy;
    QString refused;
    qint64 size = 0;
};
