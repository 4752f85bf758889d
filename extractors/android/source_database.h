/// A working copy of a source database, opened for reading. It alone decides which tables may be read.
#pragma once

#include "common/database_connection.h"

#include <QSqlQuery>
#include <QStringList>

class log_origin;

/// A statement of the form "select A, B from TABLE" or "select A, B from TABLE where KEY = ?", and its words.
struct select_statement
{
    /// `statement` has this form, with single blanks around "from" and "where".
    explicit select_statement(const QString &statement);

    QString text;
    QStringList columns;
    QString table;
    QString key; ///< empty without "where"
};

/// The connection to a working copy. SQLite is set to distrust the schema and not to map the file. Nothing is ever
/// written to the copy: in a damaged file that could destroy rows or invent some.
///
/// Only ordinary tables are read. In place of a table, a view can keep SQLite busy forever before it gives a row, a
/// virtual table runs code on contents that were never checked, and a column that is generated when it is read can
/// produce gigabytes from nothing; the application's own data have none of them.
class source_database : public open_database
{
public:
    /// Opens `copy_path` under the connection name of a step: the signature followed by "_1". A missing file is not
    /// created, but fails to open.
    source_database(const log_origin &origin, const QString &copy_path);

    /// Prepare a statement. Returns why it was refused, or an empty text. A statement that could not be prepared is not
    /// refused: its execution fails, with the error that log lines contain.
    [[nodiscard]] QString prepare(QSqlQuery &query, const select_statement &statement) const;

    /// Prepare and execute a statement without a key. False on failure, logged in the name of `origin` with
    /// `database_name`.
    [[nodiscard]] bool execute(QSqlQuery &query, const char *statement, const QString &database_name,
                               const log_origin &origin) const;

private:
    [[nodiscard]] QString why_refused(const select_statement &statement) const;
};

/// Log a query that failed, or whose rows ended with an error: the text, the error, the query.
void log_failed_query(const QSqlQuery &query, const QString &database_name, const log_origin &origin);
void log_failed_query(const QString &database_name, const QString &error, const QString &statement,
                      const log_origin &origin);
