/// Inserts rows into a table of the result database: one prepared statement, rows committed in batches, none lost.
#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

#include <functional>

/// Rows gather in a transaction that is committed after about half a second, or when much has gathered. They are kept
/// until then: when SQLite has to roll the transaction back (a full disk), they are inserted again one by one, and
/// those that then fail are logged like any failed insert and counted as lost.
class row_writer
{
public:
    /// Logs a failed insert; the query still holds the statement and the error.
    using failure_log = std::function<void(const QSqlDatabase &, const QSqlQuery &)>;

    /// `db` is open and stays the caller's; it is not closed while the writer lives.
    row_writer(const QSqlDatabase &db, QString statement, failure_log log_failure);
    ~row_writer(); ///< commits
    Q_DISABLE_COPY_MOVE(row_writer)

    /// Insert one row; `values` belong to the statement's placeholders, in order. False when it failed, which is
    /// logged; every row before it is then committed.
    bool insert(const QVariantList &values);

    /// Commit what was inserted so far, waiting for a reader that locks the file as long as the driver waits.
    void commit();

    /// Commit when the oldest row has waited long enough, or when the rows that wait, or the `bytes_ahead` that the
    /// caller is about to work on, are many.
    void commit_if_due(qint64 bytes_ahead = 0);

    /// How many rows that `insert` took could not be kept, since the last call.
    [[nodiscard]] qint64 take_lost_rows();

private:
    bool execute(const QVariantList &values);
    void insert_lost_rows_again();

    QSqlDatabase database;
    QString statement_text;
    failure_log on_failure;
    QSqlQuery query;
    bool prepared = false;
    bool in_transaction = false;
    QList<QVariantList> waiting; ///< inserted, not committed
    qint64 waiting_characters = 0;
    QElapsedTimer oldest_waiting;
    qint64 lost_rows = 0;
};

/// A text as it is bound. What the program computes is never NULL; a NULL of a source reaches its row as the null
/// QVariant it was read as.
[[nodiscard]] QVariant bound_text(const QString &text);
