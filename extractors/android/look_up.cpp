#include "extractors/android/look_up.h"

#include "common/cancel_flag.h"
#include "extractors/android/source_database.h"

#include <QSqlError>
#include <QSqlRecord>

#include <algorithm>

namespace {

bool is_integer(const QVariant &value)
{
    return value.userType() == QMetaType::LongLong;
}

/// Whether SQLite goes through all rows, in the order of their numbers, for each key.
bool walks_table_for(const source_database &source, const QString &statement)
{
    QSqlQuery plan(source.connection());
    plan.prepare(QLatin1StringView("explain query plan ") + statement);
    plan.addBindValue(QString());
    if (!plan.exec() || !plan.next())
        return false;
    const QString step = plan.value(3).toString();
    return step.startsWith(u"SCAN ") && !step.contains(u" USING "); // in the order of some index
}

} // namespace

// ---- noted_keys ---------------------------------------------------------------------------------------------------

std::optional<noted_keys> noted_keys::read_from(const source_database &source, const select_statement &statement,
                                                const cancel_flag &cancelled)
{
    noted_keys noted;
    QSqlQuery query(source.connection());
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral("select %1, rowid from %2").arg(statement.key, statement.table)))
        return {};
    while (query.next()) {
        const QVariant key = query.value(0);
        if (cancelled.is_set() || (!is_integer(key) && !key.isNull()))
            return {};
        if (!key.isNull())
            noted.rows.push_back({key.toLongLong(), query.value(1).toLongLong()});
    }
    if (query.lastError().isValid())
        noted.failure = query.lastError().text();
    std::sort(noted.rows.begin(), noted.rows.end());
    return noted;
}

std::span<const noted_keys::row> noted_keys::rows_of(qint64 key) const
{
    const auto [begin, end] = std::ranges::equal_range(rows, key, {}, &row::key);
    return {begin, end};
}

std::optional<qint64> noted_keys::some_key() const
{
    return rows.empty() ? std::optional<qint64>() : rows.front().key;
}

// ---- Answers ------------------------------------------------------------------------------------------------------

QString look_up_answer::error() const
{
    return query.lastError().isValid() ? query.lastError().text() : QString();
}

bool statement_answer::ask(const QVariant &key)
{
    query.addBindValue(key.toString());
    return query.exec();
}

/// A row that cannot be read is skipped.
bool row_number_answer::next()
{
    while (!left.empty()) {
        query.addBindValue(left.front().number);
        left = left.subspan(1);
        if (query.exec() && query.next())
            return true;
        if (query.lastError().isValid())
            failure = query.lastError().text();
    }
    return false;
}

// ---- look_up ------------------------------------------------------------------------------------------------------

look_up::look_up(const source_database &source, const char *statement_text, const log_origin &log_name, keys expected,
                 const cancel_flag &cancelled)
    : origin(log_name)
    , text(QLatin1StringView(statement_text))
{
    const select_statement statement(text);
    by_statement.query = QSqlQuery(source.connection());
    refusal = source.prepare(by_statement.query, statement);
    if (!refusal.isEmpty())
        return;
    const bool walks_table = walks_table_for(source, text);
    if (walks_table || expected == keys::missing)
        note_keys(source, statement, walks_table, cancelled);
    if (!noted || !walks_table || source.connection().record(statement.table).indexOf(QLatin1StringView("rowid")) >= 0)
        return;
    QString by_row = text;
    by_row.replace(by_row.lastIndexOf(statement.key), statement.key.size(), QLatin1StringView("rowid"));
    auto answer = std::make_unique<row_number_answer>();
    answer->query = QSqlQuery(source.connection());
    answer->query.setForwardOnly(true);
    if (answer->query.prepare(by_row))
        by_row_number = std::move(answer);
}

/// If keys do not equal a text of their digits (a column without a type), integers match no rows. In a damaged database
/// an index may lead to rows that the walk missed, so the keys are not used then.
void look_up::note_keys(const source_database &source, const select_statement &statement, bool walks_table,
                        const cancel_flag &cancelled)
{
    noted = noted_keys::read_from(source, statement, cancelled);
    if (noted && !noted->error().isEmpty() && !walks_table)
        noted.reset();
    const std::optional<qint64> some_key = noted ? noted->some_key() : std::nullopt;
    if (!some_key || (by_statement.ask(QString::number(*some_key)) && by_statement.next()))
        return;
    if (by_statement.error().isEmpty())
        noted->forget();
    else
        noted.reset();
}

bool look_up::ask(const QVariant &key)
{
    current = nullptr;
    if (noted && is_integer(key)) {
        if (!noted->error().isEmpty())
            log_once(noted->error(), by_statement.query.executedQuery());
        const std::span<const noted_keys::row> rows = noted->rows_of(key.toLongLong());
        if (rows.empty())
            return true;
        if (by_row_number) {
            by_row_number->ask(rows);
            current = by_row_number.get();
            return true;
        }
    }
    if (!refusal.isEmpty()) {
        log_once(refusal, text);
        return false;
    }
    if (!by_statement.ask(key)) {
        log_once(by_statement.error(), by_statement.query.executedQuery());
        return false;
    }
    current = &by_statement;
    return true;
}

bool look_up::next()
{
    if (!current)
        return false;
    const bool has_row = current->next();
    if (!current->error().isEmpty())
        log_once(current->error(), current->query.executedQuery());
    return has_row;
}

void look_up::log_once(const QString &error, const QString &statement)
{
    if (!logged)
        log_failed_query({}, error, statement, origin);
    logged = true;
}
