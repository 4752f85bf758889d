#include "host/records/expectation.h"

#include "common/warm_accounts.h"
#include "host/source_kinds.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QVariant>

#include <span>

namespace {

/// Rows of a table; negative when they cannot be counted. A view, which may be endless, is not counted. A damaged file
/// may lead in circles, so counting stops at as many rows as the file has bytes.
qint64 rows_of(const QSqlDatabase &db, QLatin1StringView table, qint64 file_size)
{
    QSqlQuery query(db);
    query.setForwardOnly(true);
    query.prepare(
        QStringLiteral("select count(*) from sqlite_master where type = 'table' and name = ? collate nocase and "
                       "sql not like 'create virtual%'"));
    query.addBindValue(QString(table));
    if (!query.exec() || !query.next() || query.value(0).toInt() != 1)
        return -1;
    query.finish();
    if (!query.exec(QStringLiteral("select count(*) from (select 1 from \"%1\" limit %2)").arg(table).arg(file_size)) ||
        !query.next())
        return -1;
    const qint64 rows = query.value(0).toLongLong();
    return rows < file_size ? rows : -1;
}

/// The number of most recently warmed-up accounts; each account is paired with every one of them.
qint64 count_warm_accounts(const QString &path)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return 0;
    return warm_accounts::read_from(file).value_or(QStringList()).size();
}

/// Columns that the extraction selects and the table does not have.
QString missing_columns(const QSqlDatabase &db, const read_table &table)
{
    const QSqlRecord columns = db.record(table.name);
    QStringList missing;
    for (const QString &name : QString(table.columns).split(u',')) {
        if (!columns.contains(name))
            missing.append(name);
    }
    return missing.join(QLatin1StringView(", "));
}

class database_count
{
public:
    database_count(const ready_source &of, QString scratch_folder, expected_rows &result)
        : source(of)
        , scratch(std::move(scratch_folder))
        , expected(result)
    {
    }

    void add(const source_file &file)
    {
        const read_place *place = place_of(file.place);
        const bool is_companion = without_companion_suffix(file.place).size() < file.place.size();
        const std::span<const read_table> tables =
            place && !is_companion ? place->tables : std::span<const read_table>();
        const QString copy = scratch + QLatin1StringView("copy.db");
        if (tables.empty())
            return;
        QDir().mkpath(scratch);
        for (const QLatin1StringView suffix :
             {QLatin1StringView(""), QLatin1StringView("-wal"), QLatin1StringView("-shm")})
            QFile::copy(source.found.root + file.place + suffix, copy + suffix);
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
            db.setDatabaseName(copy);
            if (db.open() && QSqlQuery(db).exec(QStringLiteral("PRAGMA trusted_schema = off")))
                count(db, file, tables);
        }
        QSqlDatabase::removeDatabase(connection);
        QDir(scratch).removeRecursively();
    }

private:
    void count(const QSqlDatabase &db, const source_file &file, std::span<const read_table> tables)
    {
        for (const read_table &table : tables) {
            qint64 rows = rows_of(db, table.name, file.size);
            if (rows < 0) {
                expected.remarks.append(QStringLiteral("%1: rows of %2 cannot be counted").arg(file.place, table.name));
                unknown.append(table.result_table);
                continue; // working out a view's columns can alone take for ever
            }
            if (const QString lacking = missing_columns(db, table); !lacking.isEmpty())
                expected.faults.append(
                    QStringLiteral("%1: %2 of another version of the application: its %3 rows cannot be "
                                   "extracted without the columns %4")
                        .arg(file.place, table.name)
                        .arg(rows)
                        .arg(lacking));
            if (table.once_per_warm_account)
                rows *= count_warm_accounts(source.found.root + warm_accounts_place);
            expected.tables[table.result_table] += rows;
        }
        for (const QString &table : std::as_const(unknown))
            expected.tables.remove(table);
    }

    const ready_source &source;
    QString scratch;
    expected_rows &expected;
    QStringList unknown;
    QString connection = QStringLiteral("gmail_host counting");
};

} // namespace

expected_rows rows_expected_of(const ready_source &source, const QString &scratch)
{
    expected_rows expected;
    for (const char *table : {"messages", "attachments", "accounts", "mailbox", "cookies"})
        expected.tables[QLatin1StringView(table)] = 0;
    database_count databases(source, scratch, expected);
    for (const source_file &file : source.files) {
        if (file.separators >= 0)
            expected.tables[QStringLiteral("messages")] += rows_of_mbox(file.separators);
        else if (file.place.startsWith(mail_root)) {
            expected.tables.remove(QStringLiteral("messages"));
            expected.remarks.append(file.place +
                                    QLatin1StringView(": cannot be read, so rows of messages are not counted"));
            break;
        }
        databases.add(file);
    }
    return expected;
}
