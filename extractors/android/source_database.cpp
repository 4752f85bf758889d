#include "extractors/android/source_database.h"

#include "common/log_line.h"
#include "common/plugin_static_function.h"

#include <QFileInfo>
#include <QSqlError>
#include <QSqlRecord>

#include <algorithm>

namespace {

/// What SQLite advises for files of unknown origin, as far as it leaves the rows of ordinary tables alone.
/// (cell_size_check is not among them: it gives up whole pages that are readable without it.)
constexpr const char *settings[] = {
    "PRAGMA trusted_schema = OFF",
    "PRAGMA mmap_size = 0",
};

bool is_integer(const QVariant &value)
{
    return value.userType() == QMetaType::LongLong;
}

/// The words between two others of a statement, cut at commas.
QStringList list_between(const QString &statement, QLatin1StringView begin, QLatin1StringView end)
{
    const qsizetype from = statement.indexOf(begin, 0, Qt::CaseInsensitive) + begin.size();
    QStringList words = statement.sliced(from, statement.indexOf(end, from, Qt::CaseInsensitive) - from).split(u',');
    for (QString &word : words)
        word = word.trimmed();
    return words;
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

QString source_database::prepare(QSqlQuery &query, const QString &statement) const
{
    constexpr QLatin1StringView from(" from ");
    const QString table = statement.mid(statement.indexOf(from) + from.size()).section(u' ', 0, 0);
    QStringList columns = list_between(statement, QLatin1StringView("select "), from);
    if (const qsizetype key = statement.indexOf(QLatin1StringView(" where ")); key >= 0)
        columns.append(statement.sliced(key).section(u' ', 2, 2));
    QString refusal = why_refused(table, columns);
    if (refusal.isEmpty())
        query.prepare(statement);
    return refusal;
}

/// SQLite writes "CREATE TABLE " before the definition of every ordinary table, and checks the type and the name of an
/// entry against its definition. Only the columns of what is known to be a table may be asked for: those of a view are
/// worked out, which alone can take without end.
QString source_database::why_refused(const QString &table, const QStringList &columns) const
{
    QSqlQuery entry(connection());
    entry.setForwardOnly(true);
    entry.prepare(QStringLiteral("select sql from sqlite_master where type in ('table', 'view') and "
                                 "name = ? collate nocase"));
    entry.addBindValue(table);
    if (!entry.exec() || !entry.next())
        return {}; // reading it fails by itself
    if (!entry.value(0).toString().startsWith(u"CREATE TABLE "))
        return QStringLiteral("refused: %1 is not an ordinary table").arg(table);
    QSqlQuery generated(connection());
    generated.setForwardOnly(true);
    generated.prepare(QStringLiteral("select name from pragma_table_xinfo(?) where hidden = 2")); // 3 is stored
    generated.addBindValue(table);
    generated.exec();
    while (generated.next()) {
        const QString column = generated.value(0).toString();
        if (columns.contains(column, Qt::CaseInsensitive))
            return QStringLiteral("refused: %1 of %2 is generated when it is read").arg(column, table);
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

// ---- look_up ------------------------------------------------------------------------------------------------------

look_up::look_up(const source_database &source, const char *statement, const char *table_name, const char *key_column)
    : by_key(source.connection())
    , by_row_number(source.connection())
    , table(QLatin1StringView(table_name))
    , key(QLatin1StringView(key_column))
    , text(QLatin1StringView(statement))
{
    by_key.setForwardOnly(true);
    by_row_number.setForwardOnly(true);
    refusal = source.prepare(by_key, text);
    if (!refusal.isEmpty() || !walks_table(source))
        return;
    note_keys(source);
    QString by_row = text;
    by_row.replace(by_row.lastIndexOf(key), key.size(), QLatin1StringView("rowid"));
    asks_by_row_number = all_keys_noted && source.connection().record(table).indexOf(QLatin1StringView("rowid")) < 0 &&
                         by_row_number.prepare(by_row);
}

/// Whether SQLite goes through all rows, in their own order, for each key.
bool look_up::walks_table(const source_database &source) const
{
    QSqlQuery plan(source.connection());
    plan.prepare(QLatin1StringView("explain query plan ") + text);
    plan.addBindValue(QString());
    if (!plan.exec() || !plan.next())
        return false;
    const QString step = plan.value(3).toString();
    return step.startsWith(u"SCAN ") && !step.contains(u" USING "); // in the order of some index
}

/// When the keys do not compare with a text of their digits (a column without a type), integers have no rows at all.
void look_up::note_keys(const source_database &source)
{
    if (!refusal.isEmpty() || all_keys_noted)
        return;
    QSqlQuery keys(source.connection());
    keys.setForwardOnly(true);
    all_keys_noted = keys.exec(QStringLiteral("select %1, rowid from %2").arg(key, table)); // not in tables without
    while (all_keys_noted && keys.next()) {
        if (plugin_static_function::bool_cancel_extraction.is_set()) { // no key will be asked for
            all_keys_noted = false;
            break;
        }
        const QVariant noted_key = keys.value(0);
        if (is_integer(noted_key))
            noted.push_back({noted_key.toLongLong(), keys.value(1).toLongLong()});
        else
            all_keys_noted = noted_key.isNull();
    }
    all_keys_noted = all_keys_noted && !keys.lastError().isValid();
    std::sort(noted.begin(), noted.end());
    if (!all_keys_noted || noted.empty())
        return;
    by_key.addBindValue(QString::number(noted.front().key));
    if (!by_key.exec() || !by_key.next())
        noted.clear();
}

bool look_up::ask(const QVariant &sought, const log_origin &origin)
{
    current = nullptr;
    asked_by = origin;
    next_noted = end_noted = noted.cend();
    if (all_keys_noted && is_integer(sought)) {
        const qint64 number = sought.toLongLong();
        const auto before = [](const noted_row &row, qint64 value) { return row.key < value; };
        next_noted = std::lower_bound(noted.cbegin(), noted.cend(), number, before);
        end_noted = number == std::numeric_limits<qint64>::max()
                        ? noted.cend()
                        : std::lower_bound(next_noted, noted.cend(), number + 1, before);
        if (next_noted == end_noted)
            return true;
        if (asks_by_row_number) {
            current = &by_row_number;
            return true;
        }
    }
    if (!refusal.isEmpty()) {
        log_once(refusal, text);
        return false;
    }
    by_key.addBindValue(sought.toString());
    if (by_key.exec()) {
        current = &by_key;
        return true;
    }
    log_once(by_key);
    return false;
}

bool look_up::next()
{
    if (!current)
        return false;
    if (current == &by_key) {
        const bool has_row = by_key.next();
        if (!has_row && by_key.lastError().isValid())
            log_once(by_key);
        return has_row;
    }
    while (next_noted != end_noted) {
        by_row_number.addBindValue((next_noted++)->row_number);
        if (by_row_number.exec() && by_row_number.next())
            return true;
        if (by_row_number.lastError().isValid())
            log_once(by_row_number);
    }
    return false;
}

void look_up::log_once(const QString &error, const QString &statement)
{
    if (!logged)
        log_failed_query({}, error, statement, asked_by);
    logged = true;
}

void look_up::log_once(const QSqlQuery &query)
{
    log_once(query.lastError().text(), query.executedQuery());
}
