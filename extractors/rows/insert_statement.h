/// An insert statement that is prepared once and executed for many rows.
#pragma once

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

#include <vector>

/// A prepared insert statement. A value that is the same in every row, a constant of the run, stays bound. A long text
/// is bound as UTF-8, which SQLite stores unchanged, so that a body in two columns is converted only once.
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
    [[nodiscard]] QVariant long_value(const QString &value);

    QString text;
    QSqlQuery query;
    bool takes_bytes = false; ///< the database keeps texts as UTF-8
    bool prepared = false;
    QStringList names;          ///< of the placeholders
    std::vector<QString> bound; ///< the value of each column
    QString converted;          ///< the row's last long text ...
    QByteArray bytes;           ///< ... as UTF-8; null when that cannot be bound
};
