#include "host/records/reconciliation.h"

#include "host/records/expectation.h"

#include <QHash>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

namespace {

QString reason_of(const run_circumstances &run)
{
    if (!run.extracts_rows)
        return QStringLiteral("this engine type extracts no rows");
    if (run.cancelled)
        return QStringLiteral("the run was cancelled");
    return run.failures_logged ? QStringLiteral("failures recorded in the debug log") : QStringLiteral("not explained");
}

/// Rows per mbox of the rows after `begin`. Rows of one file are contiguous: if the first and the last row of an
/// expected number are of the same file, so are all between, and they need not be read.
class rows_per_mbox
{
public:
    rows_per_mbox(const QSqlDatabase &db, qint64 begin, qint64 end)
        : query(db)
        , first(begin + 1)
        , last(end)
    {
    }

    QHash<QString, qint64> count(const QHash<QString, qint64> &expected)
    {
        QHash<QString, qint64> rows;
        qint64 at = first;
        while (at <= last) {
            const QString file = file_of(at);
            const qint64 next = at + expected.value(file);
            const bool as_expected = expected.contains(file) && !rows.contains(file) && next > at && next - 1 <= last &&
                                     file_of(next - 1) == file && (next > last || file_of(next) != file);
            if (!as_expected)
                return count_all();
            rows[file] = next - at;
            at = next;
        }
        return rows;
    }

private:
    QString file_of(qint64 row)
    {
        query.prepare(QStringLiteral("select source_file from messages where INT = ?"));
        query.addBindValue(row);
        return query.exec() && query.next() ? query.value(0).toString() : QString();
    }

    QHash<QString, qint64> count_all()
    {
        QHash<QString, qint64> rows;
        query.prepare(QStringLiteral(
            "select source_file, count(*) from messages where INT between ? and ? group by source_file"));
        query.addBindValue(first);
        query.addBindValue(last);
        query.exec();
        while (query.next())
            rows.insert(query.value(0).toString(), query.value(1).toLongLong());
        return rows;
    }

    QSqlQuery query;
    qint64 first;
    qint64 last;
};

QList<mbox_balance> balance_mailboxes(const ready_source &source, const QString &database, qint64 begin, qint64 end,
                                      const QString &other_reason)
{
    QHash<QString, qint64> expected; // by source_file
    for (const source_file &file : source.files) {
        if (file.separators >= 0)
            expected.insert(u'/' + file.place, rows_of_mbox(file.separators));
    }
    if (expected.isEmpty())
        return {};
    QHash<QString, qint64> rows;
    const QString connection = QStringLiteral("gmail_host reconciliation");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(database);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (db.open())
            rows = rows_per_mbox(db, begin, end).count(expected);
    }
    QSqlDatabase::removeDatabase(connection);

    QList<mbox_balance> balances;
    for (const source_file &file : source.files) {
        if (file.separators < 0)
            continue;
        mbox_balance balance = {file.place, file.separators, rows.value(u'/' + file.place), {}};
        const qint64 last_message = file.separators - rows_of_mbox(file.separators);
        if (last_message > 0)
            balance.differences.append({QStringLiteral("last message of the file"), last_message});
        const qint64 rest = file.separators - last_message - balance.written;
        if (rest != 0)
            balance.differences.append({other_reason, rest});
        balances.append(balance);
    }
    return balances;
}

} // namespace

source_balance reconcile(const ready_source &source, const QString &database, const last_rows &before,
                         const last_rows &after, const run_circumstances &run)
{
    source_balance balance;
    const QString other_reason = reason_of(run);
    for (const QString &table : run.tables) {
        table_balance of_table = {
            table, source.expected.tables.value(table, -1), after.value(table) - before.value(table), {}};
        if (of_table.expected >= 0 && of_table.expected != of_table.written) {
            of_table.differences.append({other_reason, of_table.expected - of_table.written});
            balance.unexplained |= run.extracts_rows && !run.cancelled && !run.failures_logged;
        }
        balance.tables.append(of_table);
    }
    if (run.tables.contains(QStringLiteral("messages")))
        balance.mailboxes = balance_mailboxes(source, database, before.value(QStringLiteral("messages")),
                                              after.value(QStringLiteral("messages")), other_reason);
    return balance;
}
