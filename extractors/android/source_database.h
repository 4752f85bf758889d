/// A working copy of a source database, opened for reading, and look-ups in it.
#pragma once

#include "common/database_connection.h"
#include "common/log_line.h"

#include <QSqlQuery>
#include <QVariant>

#include <compare>
#include <vector>

/// The connection to a working copy. SQLite is told to distrust the schema and not to map the file. Nothing is ever
/// written to the copy: in a damaged file that would destroy rows, or make some up.
class source_database : public open_database
{
public:
    /// Opens `copy_path` under the connection name of a step: the signature with "_1" behind it. A missing file is not
    /// created, but fails to open.
    source_database(const log_origin &origin, const QString &copy_path);

    /// Prepare a statement of the form "select A, B from TABLE" or "select A, B from TABLE where C = ?".
    ///
    /// Only ordinary tables are read. In a table's place a view can keep SQLite busy without end before it gives a row,
    /// a virtual table runs code on contents that were never checked, and a column that is generated when it is read
    /// can make gigabytes out of nothing; the application's own data have none of them. The result says why a statement
    /// was refused; it is empty when it was not. A statement that could not be prepared is not refused: its execution
    /// fails, with the error that log lines are known for.
    [[nodiscard]] QString prepare(QSqlQuery &query, const QString &statement) const;

private:
    [[nodiscard]] QString why_refused(const QString &table, const QStringList &columns) const;
};

/// Log a query that failed, or whose rows broke off: the text, the error, the query.
void log_failed_query(const QSqlQuery &query, const QString &database_name, const log_origin &origin);
void log_failed_query(const QString &database_name, const QString &error, const QString &statement,
                      const log_origin &origin);

/// One statement with one "?", prepared once and asked for many keys.
///
/// When SQLite would walk the whole table for each key, the keys are noted in one walk beforehand, with their rows, and
/// the rows are then asked for by row number; about 16 bytes a row. Rows and their order are those of the statement.
/// Keys that are no integers, and tables that are not made for this, are asked for with the statement itself.
class look_up
{
public:
    /// The statement is "select " + `columns` + " from " + `table` + " where " + `key_column` + " = ?" as `statement`
    /// spells it.
    look_up(const source_database &source, const char *statement, const char *table_name, const char *key_column);

    /// Note the keys beforehand in any case: worth it when most keys that will be asked for have no rows.
    void note_keys(const source_database &source);

    /// Find the rows for `key`; step through them with `next`. False on failure. What fails, or breaks off between two
    /// rows, is logged in the name of `origin`, once for all keys.
    [[nodiscard]] bool ask(const QVariant &key, const log_origin &origin);
    [[nodiscard]] bool next();
    [[nodiscard]] QVariant value(int position) const { return current->value(position); }

private:
    struct noted_row
    {
        qint64 key;
        qint64 row_number;
        auto operator<=>(const noted_row &) const = default;
    };

    [[nodiscard]] bool walks_table(const source_database &source) const;
    void log_once(const QString &error, const QString &statement);
    void log_once(const QSqlQuery &query);

    QSqlQuery by_key;
    QSqlQuery by_row_number;
    QSqlQuery *current = nullptr;
    QString table;
    QString key;
    QString text;
    QString refusal; ///< why the table is not read at all
    log_origin asked_by;
    bool logged = false;
    bool all_keys_noted = false; ///< all are integers or NULL: other integers have no rows
    bool asks_by_row_number = false;
    std::vector<noted_row> noted;                      ///< sorted
    std::vector<noted_row>::const_iterator next_noted; ///< of the key that was asked for ...
    std::vector<noted_row>::const_iterator end_noted;  ///< ... by row number
};
