#include "host/result_database.h"

#include "host/extract_options.h"

#include <QDir>
#include <QDirIterator>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

result_paths::result_paths(const QString &result_dir)
    : directory(QDir::cleanPath(result_dir) + QLatin1StringView("/Artifacts_Result/Gmail/"))
    , database(directory + QLatin1StringView("Gmail.sqlite"))
    , attachments(directory + QLatin1StringView("Attachments/"))
    , default_log(directory + QLatin1StringView("gmail.log"))
    , run_record(directory + QLatin1StringView("run.json"))
    , lock(directory + QLatin1StringView("gmail_host.lock"))
    , staging(QDir::cleanPath(result_dir) + QLatin1StringView("/tmp"))
{
}

namespace {

bool ask_tables(const QSqlDatabase &db, last_rows &rows)
{
    const QStringList existing = db.tables();
    QSqlQuery query(db);
    for (const QString &table : artifact_tables()) {
        if (!existing.contains(table))
            continue;
        if (!query.exec(QLatin1StringView("select max(INT) from ") + table) || !query.next())
            return false;
        rows[table] = query.value(0).toLongLong();
    }
    return query.exec(QStringLiteral("select count(*) from sqlite_master")); // fails when it is not a database
}

} // namespace

maybe_refusal find_last_rows(const QString &database, last_rows &rows)
{
    for (const QString &table : artifact_tables())
        rows[table] = 0;
    if (!QFileInfo::exists(database))
        return {};
    const QString connection_name = QStringLiteral("gmail_host");
    maybe_refusal result;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection_name);
        db.setDatabaseName(database);
        // A run that was killed may have left a journal: SQLite has to roll it back before anything can be read.
        if (!QFileInfo::exists(database + QLatin1StringView("-journal")))
            db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (!db.open() || !ask_tables(db, rows))
            result = refusal{exit_status::bad_result,
                             database + QLatin1StringView(": cannot be read as a result database; choose another "
                                                          "RESULT_DIR or move the file away")};
    }
    QSqlDatabase::removeDatabase(connection_name);
    return result;
}

QString last_source_file(const QString &database)
{
    const QString connection_name = QStringLiteral("gmail_host last row");
    QString result;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection_name);
        db.setDatabaseName(database);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (db.open()) {
            QSqlQuery query(db);
            if (query.exec(QStringLiteral("select source_file from messages order by INT desc limit 1")) &&
                query.next())
                result = query.value(0).toString();
        }
    }
    QSqlDatabase::removeDatabase(connection_name);
    return result;
}

qint64 count_files(const QString &directory)
{
    qint64 count = 0;
    for (QDirIterator files(directory, QDir::Files | QDir::Hidden | QDir::System); files.hasNext(); files.next())
        ++count;
    return count;
}
