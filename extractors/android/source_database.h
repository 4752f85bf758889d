/// A working copy of a source database, opened for reading, and look-ups in it.
#pragma once

#include "common/database_connection.h"

#include <QSqlQuery>

class log_origin;

/// The connection to a working copy. SQLite is told to distrust the file; that changes no rows.
class source_database : public open_database
{
public:
    /// Opens `copy_path` under the connection name of a step: the signature with "_1" behind it. A missing file is not
    /// created, but fails to open.
    source_database(const log_origin &origin, const QString &copy_path);
};

/// Log a query that failed, or whose rows broke off: the text, the error, the query.
void log_failed_query(const QSqlQuery &query, const QString &database_name, const log_origin &origin);

/// One statement with one "?", prepared once and asked for many keys. When it would walk the whole table for each key,
/// the working copy gets an index on the column that is compared (if it can have one), so that the cost stays in step
/// with the work; rows and their order stay those of the walk.
class look_up
{
public:
    look_up(const source_database &source, const char *statement, const char *table, const char *compared_column);

    /// The rows for `key`, bound as text; step through them with `query().next()`. On failure false, logged in the name
    /// of `origin`: each time, but a statement that cannot be prepared only once, as it fails for every key alike.
    [[nodiscard]] bool ask(const QString &key, const log_origin &origin);

    [[nodiscard]] QSqlQuery &query() { return prepared_query; }

private:
    QSqlQuery prepared_query;
    bool prepared = false;
    bool told = false;
};
