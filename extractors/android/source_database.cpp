#include "extractors/android/source_database.h"

#include "common/log_line.h"
#include "common/plugin_static_function.h"
#include "extractors/android/bounded_query.h"

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
{
    const QSqlDatabase &db = source.connection();
    by_key.setForwardOnly(true);
    by_row_number.setForwardOnly(true);
    refusal = why_not_prepared(db, table);
    prepared = refusal.isEmpty() && by_key.prepare(QLatin1StringView(statement));
    if (prepared)
        refusal = why_refused(db, table, QLatin1StringView(statement));
    if (!prepared || !refusal.isEmpty())
        return;
    const QStringList plan = plan_of(db, QLatin1StringView(statement));
    const bool walks = plan.size() == 1 && plan.first().startsWith(u"SCAN ");
    if (!walks || plan.first().contains(u" USING ")) // in the order of some index
        return;
    note_keys(source);
    QString by_row = QLatin1StringView(statement);
    by_row.replace(by_row.lastIndexOf(key), key.size(), QLatin1StringView("rowid"));
    asks_by_row_number = all_keys_noted && has_row_numbers &&
                         db.record(table).indexOf(QLatin1StringView("rowid")) < 0 && by_row_number.prepare(by_row);
}

/// When the keys do not compare with a text of their digits (a column without a type), integers have no rows at all.
void look_up::note_keys(const source_database &source)
{
    if (!prepared || !refusal.isEmpty() || all_keys_noted)
        return;
    QSqlQuery keys(source.connection());
    keys.setForwardOnly(true);
    all_keys_noted = keys.exec(QStringLiteral("select %1, rowid from %2").arg(key, table));
    while (all_keys_noted && keys.next()) {
        if (plugin_static_function::bool_cancel_extraction) { // no key will be asked for
            all_keys_noted = false;
            break;
        }
        const QVariant noted_key = keys.value(0);
        has_row_numbers = has_row_numbers && !keys.value(1).isNull(); // a view's are NULL
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
    if (told && (!prepared || !refusal.isEmpty()))
        return false;
    by_key.addBindValue(sought.toString());
    if (refusal.isEmpty() && by_key.exec()) {
        current = &by_key;
        return true;
    }
    log_failed_query({}, refusal.isEmpty() ? by_key.lastError().text() : refusal, by_key.executedQuery(), origin);
    told = true;
    return false;
}

bool look_up::next()
{
    if (current != &by_row_number)
        return current && current->next();
    while (next_noted != end_noted) {
        by_row_number.addBindValue((next_noted++)->row_number);
        if (by_row_number.exec() && by_row_number.next())
            return true;
    }
    return false;
}
