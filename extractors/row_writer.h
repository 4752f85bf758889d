/// Inserts rows into a table of the result database: one prepared statement, rows committed in batches, none lost.
///
/// A row is a list of texts, in the order of the statement's placeholders; a null text is NULL, an empty one is not.
#pragma once

#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

#include <functional>
#include <vector>

/// What the program computes is never NULL: an empty text for a null one.
[[nodiscard]] QString never_null(const QString &text);

/// A prepared insert statement. Texts are not bound one by one, which costs several times what the insert does:
///
/// - a short text is bound once, as a value that is asked for its text when the statement is executed;
/// - a constant stays bound;
/// - a long text is bound as UTF-8, which SQLite takes as it is: a body in two columns is not converted twice.
class insert_statement
{
public:
    insert_statement(const QSqlDatabase &db, QString statement);

    /// Insert one row. A statement that cannot be prepared is executed all the same: the error of the execution is the
    /// one that log lines are known for. It is prepared again for the next row, as a locked database may be let go.
    [[nodiscard]] bool execute(const QStringList &row);

    /// As it was given, without the casts for UTF-8.
    [[nodiscard]] const QString &statement() const { return text; }
    /// Of the last execution.
    [[nodiscard]] QString error() const { return query.lastError().text(); }

private:
    enum class binding : char { nothing, null, constant, late, direct };

    void prepare(qsizetype columns);
    void bind(std::size_t column, const QString &value);
    void bind_long(std::size_t column, const QString &value);
    void bind_short(std::size_t column, const QString &value);

    QString text;
    QSqlQuery query;
    bool takes_bytes = false; ///< the database keeps texts as UTF-8
    bool prepared = false;
    std::vector<QString> values; ///< short ones, of the last rows; late bindings read them in their places
    std::vector<binding> bindings;
    const QChar *converted = nullptr; ///< where a long text of the row stands ...
    QByteArray bytes;                 ///< ... and what it is as UTF-8; null when that cannot be bound
};

/// Rows that were inserted but not committed, packed into one block of memory that is used again and again.
class waiting_rows
{
public:
    void append(const QStringList &row);
    void clear();

    [[nodiscard]] bool is_empty() const { return texts.empty(); }
    [[nodiscard]] qsizetype characters() const { return static_cast<qsizetype>(characters_of_all.size()); }

    /// Every row, oldest first.
    void for_each(const std::function<void(const QStringList &)> &take) const;

private:
    struct packed_text
    {
        qsizetype begin;
        qsizetype size; ///< -1 for NULL
    };

    std::vector<char16_t> characters_of_all;
    std::vector<packed_text> texts; ///< of all rows, one behind the other
    qsizetype columns = 0;
};

/// Rows gather in a transaction that is committed after about half a second, or when much has gathered. They are kept
/// until then: when SQLite has to roll the transaction back (a full disk), they are inserted again one by one, and
/// those that then fail are logged like any failed insert and counted as lost.
class row_writer
{
public:
    /// Logs a failed insert.
    using failure_log = std::function<void(const QString &statement, const QString &error)>;

    /// `db` is open and stays the caller's; it is not closed while the writer lives.
    row_writer(const QSqlDatabase &db, const QString &statement, failure_log log_failure);
    ~row_writer(); ///< commits
    Q_DISABLE_COPY_MOVE(row_writer)

    /// Insert one row. False when it failed, which is logged; every row before it is then committed.
    bool insert(const QStringList &row);

    /// Commit what was inserted so far, waiting for a reader that locks the file as long as the driver waits.
    void commit();

    /// Commit when the oldest row has waited long enough, or when the rows that wait, or the `bytes_ahead` that the
    /// caller is about to work on, are many.
    void commit_if_due(qint64 bytes_ahead = 0);

    /// How many rows that `insert` took could not be kept, since the last call.
    [[nodiscard]] qint64 take_lost_rows();

private:
    void commit_or_insert_again(const QStringList &large_row);
    void insert_again(const QStringList &row);

    QSqlDatabase database;
    insert_statement statement;
    failure_log on_failure;
    bool in_transaction = false;
    waiting_rows waiting;
    QElapsedTimer oldest_waiting;
    qint64 lost_rows = 0;
};
