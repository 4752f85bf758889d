#include "extractors/android/source_database.h"

#include "common/log_line.h"

#include <QFileInfo>
#include <QSqlError>
#include <QVariant>

namespace {

/// What SQLite advises for files of unknown origin, and no waiting for a disk that need not keep a working copy.
constexpr const char *settings[] = {
    "PRAGMA trusted_schema = OFF",
    "PRAGMA cell_size_check = ON",
    "PRAGMA mmap_size = 0",
    "PRAGMA synchronous = OFF",
};

bool walks_the_table(const QSqlDatabase &db, const char *statement)
{
    QSqlQuery plan(db);
    if (!plan.prepare(QLatin1StringView("explain query plan ") + QLatin1StringView(statement)))
        return false;
    plan.addBindValue(QString());
    plan.exec();
    while (plan.next()) {
        if (plan.value(3).toString().startsWith(u"SCAN"))
            return true;
    }
    return false;
}

} // namespace

source_database::source_database(const log_origin &origin, const QString &copy_path)
    // SQLite would make an empty database of a missing file when it may write.
    : open_database(origin.signature() + QLatin1StringView("_1"), copy_path,
                    QFileInfo::exists(copy_path) ? QString() : QStringLiteral("QSQLITE_OPEN_READONLY"))
{
    if (!is_open())
        return;
    QSqlQuery query(connection());
    for (const char *setting : settings)
        query.exec(QLatin1StringView(setting));
}

void log_failed_query(const QSqlQuery &query, const QString &database_name, const log_origin &origin)
{
    log_line({" Select query ---FAILED---", origin}, database_name);
    log_line({"", origin}, query.lastError().text());
    log_line({"", origin}, query.executedQuery());
}

look_up::look_up(const source_database &source, const char *statement, const char *table, const char *compared_column)
    : prepared_query(source.connection())
{
    if (walks_the_table(source.connection(), statement)) {
        QSqlQuery index(source.connection());
        index.exec(QStringLiteral("create index working_copy_%1_%2 on %1(%2)")
                       .arg(QLatin1StringView(table), QLatin1StringView(compared_column)));
    }
    prepared_query.setForwardOnly(true);
    prepared = prepared_query.prepare(QLatin1StringView(statement));
}

bool look_up::ask(const QString &key, const log_origin &origin)
{
    if (told && !prepared)
        return false;
    prepared_query.addBindValue(key);
    if (prepared_query.exec())
        return true;
    log_failed_query(prepared_query, {}, origin);
    told = true;
    return false;
}
