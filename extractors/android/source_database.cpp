#include "extractors/android/source_database.h"

#include "common/log_line.h"

#include <QFileInfo>
#include <QSqlError>
#include <QVariant>

namespace {

/// What SQLite recommends for untrusted files, except settings that cost rows of ordinary tables: cell_size_check gives
/// up whole pages that are readable without it.
constexpr const char *settings[] = {
    "PRAGMA trusted_schema = OFF",
    "PRAGMA mmap_size = 0",
};

} // namespace

select_statement::select_statement(const QString &statement)
    : text(statement)
{
    const QStringList parts = statement.split(QLatin1StringView(" from "));
    const QString tail = parts.value(1);
    columns = parts.first().section(u' ', 1).split(u',');
    for (QString &column : columns)
        column = column.trimmed();
    table = tail.section(u' ', 0, 0);
    key = tail.section(QLatin1StringView(" where "), 1).section(u' ', 0, 0);
}

source_database::source_database(const log_origin &origin, const QString &copy_path)
    // With write access SQLite would create a missing file as an empty database.
    : open_database(origin.signature() + QLatin1StringView("_1"), copy_path,
                    QFileInfo::exists(copy_path) ? QString() : QStringLiteral("QSQLITE_OPEN_READONLY"))
{
    if (!is_open())
        return;
    QSqlQuery query(connection());
    for (const char *setting : settings)
        query.exec(QLatin1StringView(setting));
}

QString source_database::prepare(QSqlQuery &query, const select_statement &statement) const
{
    query.setForwardOnly(true);
    QString refusal = why_refused(statement);
    if (refusal.isEmpty())
        query.prepare(statement.text);
    return refusal;
}

bool source_database::execute(QSqlQuery &query, const char *statement, const QString &database_name,
                              const log_origin &origin) const
{
    const select_statement words{QString(QLatin1StringView(statement))};
    const QString refusal = prepare(query, words);
    if (refusal.isEmpty() && query.exec())
        return true;
    if (refusal.isEmpty())
        log_failed_query(query, database_name, origin);
    else
        log_failed_query(database_name, refusal, words.text, origin);
    return false;
}

/// SQLite writes "CREATE TABLE " before the definition of every ordinary table, and checks the type and the name of an
/// entry against its definition. Columns may be listed only when the entry is known to be a table: SQLite works out
/// those of a view, which alone may never end.
QString source_database::why_refused(const select_statement &statement) const
{
    QSqlQuery entry(connection());
    entry.setForwardOnly(true);
    entry.prepare(QStringLiteral("select sql from sqlite_master where type in ('table', 'view') and "
                                 "name = ? collate nocase"));
    entry.addBindValue(statement.table);
    if (!entry.exec() || !entry.next())
        return {}; // the query itself will fail
    if (!entry.value(0).toString().startsWith(u"CREATE TABLE "))
        return QStringLiteral("refused: %1 is not an ordinary table").arg(statement.table);
    QSqlQuery generated(connection());
    generated.setForwardOnly(true);
    generated.prepare(QStringLiteral("select name from pragma_table_xinfo(?) where hidden = 2")); // 3 is a stored one
    generated.addBindValue(statement.table);
    generated.exec();
    while (generated.next()) {
        const QString column = generated.value(0).toString();
        if (statement.columns.contains(column, Qt::CaseInsensitive) ||
            statement.key.compare(column, Qt::CaseInsensitive) == 0)
            return QStringLiteral("refused: %1 of %2 is generated when it is read").arg(column, statement.table);
    }
    return {};
}

void log_failed_query(const QSqlQuery &query, const QString &database_name, const log_origin &origin)
{
    log_failed_query(database_name, query.lastError().text(), query.executedQuery(), origin);
}

void log_failed_query(const QString &database_name, const QString &error, const QString &statement,
                      const log_origin &origin)
{
    log_line({" Select query ---FAILED---", origin}, database_name);
    log_line({"", origin}, error);
    log_line({"", origin}, statement);
}
