/// An insert statement that is prepared once and executed for many rows.
#pragma once

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

#include <vector>

/// A prepared insert statement. A value is bound only when it changes, so that constants of the run stay bound. Texts
/// are bound as UTF-8, which SQLite stores unchanged.
class insert_statement
{
public:
    /// `db` is open and outlives the statement, whose placeholders are "?".
    insert_statement(const QSqlDatabase &db, QString statement);

    /// Insert one row. A statement that cannot be prepared is executed anyway, because log lines contain the error of
    /// the execution. It is prepared again for the next row: a lock on the database may be gone by then.
    [[nodiscard]] bool execute(const QStringList &row);

    /// As given to the constructor, without the casts for UTF-8.
    [[nodiscard]] const QString &statement() const { return text; }
    /// Of the last execution.
    [[nodiscard]] QString error() const { return query.lastError().text(); }

private:
    void prepare(qsizetype columns);
    void bind(std::size_t column, const QString &value);
    [[nodiscard]] QVariant converted(const QString &value) const;

    QString text;
    QSqlQuery query;
    bool takes_bytes = false; ///< the database keeps texts as UTF-8
    bool prepared = false;
    QStringList names;          ///< of the placeholders
    std::vector<QString> bound; ///< the value of each column
};
