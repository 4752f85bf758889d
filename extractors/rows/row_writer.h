/// Inserts rows into a table of the result database: rows committed in batches, none lost.
///
/// A row is a list of texts, in the order of the statement's placeholders; a null text is NULL, an empty one is not.
#pragma once

#include "extractors/rows/insert_statement.h"

#include <QElapsedTimer>

#include <functional>

/// Rows that were inserted but not committed, packed into one block of memory that is reused.
class waiting_rows
{
public:
    void append(const QStringList &row); ///< a copy of it
    void clear();                        ///< its memory is kept

    [[nodiscard]] bool is_empty() const { return texts.empty(); }
    /// UTF-16 units of all rows.
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
    std::vector<packed_text> texts; ///< of all rows, one after the other
    qsizetype columns = 0;
};

/// Rows are collected in a transaction that is committed after about half a second, or when it has grown large. Until
/// then they are kept in memory, too: if SQLite has to roll the transaction back (a full disk), they are inserted again
/// one by one, and those that fail again are logged like any failed insert and counted as lost.
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

    /// Commit the rows inserted so far. If a reader locks the file, this waits as long as the driver does.
    void commit();

    /// Commit when the oldest row has waited long enough, when the waiting rows are large, or when the caller is about
    /// to work on many bytes (`bytes_ahead`).
    void commit_if_due(qint64 bytes_ahead = 0);

    /// How many rows that `insert` accepted were lost in a commit, since the last call of this.
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
