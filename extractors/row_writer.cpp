#include "extractors/row_writer.h"

#include "common/log_line.h"

#include <QSqlError>

#include <utility>

namespace {

constexpr qint64 longest_wait = 500; // milliseconds
constexpr qint64 most_waiting_characters = 4 * 1024 * 1024;
constexpr qint64 most_bytes_ahead = 8 * 1024 * 1024; // work on so many may take longer than the wait
constexpr int last_tries = 3; // to commit a locked file; each waits for the driver's busy timeout

qint64 characters_in(const QVariantList &values)
{
    qint64 characters = 0;
    for (const QVariant &value : values) {
        if (value.userType() == QMetaType::QString)
            characters += static_cast<const QString *>(value.constData())->size();
    }
    return characters;
}

} // namespace

row_writer::row_writer(const QSqlDatabase &db, QString statement, failure_log log_failure)
    : database(db)
    , statement_text(std::move(statement))
    , on_failure(std::move(log_failure))
    , query(db)
{
}

row_writer::~row_writer()
{
    for (int tries = 0; in_transaction && tries < last_tries; ++tries)
        commit();
    if (!waiting.isEmpty())
        log_line("[commit] ----FAILED---- rows not kept: ", QString::number(waiting.size()), u" ",
                 database.databaseName());
}

/// A statement that cannot be prepared is executed all the same: the error of the execution is the one that log lines
/// are known for. It is prepared again for the next row, as a locked database may have been let go.
bool row_writer::execute(const QVariantList &values)
{
    if (!prepared)
        prepared = query.prepare(statement_text);
    for (const QVariant &value : values)
        query.addBindValue(value);
    const bool inserted = query.exec();
    prepared = prepared && inserted;
    return inserted;
}

bool row_writer::insert(const QVariantList &values)
{
    if (!in_transaction)
        in_transaction = database.transaction();
    if (!execute(values)) {
        on_failure(database, query);
        commit();
        return false;
    }
    if (waiting.isEmpty())
        oldest_waiting.start();
    waiting.append(values);
    waiting_characters += characters_in(values);
    return true;
}

void row_writer::commit_if_due(qint64 bytes_ahead)
{
    if (waiting.isEmpty())
        return;
    if (bytes_ahead > most_bytes_ahead || waiting_characters > most_waiting_characters ||
        oldest_waiting.elapsed() > longest_wait)
        commit();
}

void row_writer::commit()
{
    if (!in_transaction)
        return;
    if (!database.commit()) {
        // A new transaction can only begin when the failure has rolled the old one back. Otherwise another process
        // locks the file: the rows stay in the open transaction and the next commit takes them along.
        if (!database.transaction())
            return;
        database.rollback();
        insert_lost_rows_again();
    }
    in_transaction = false;
    waiting.clear();
    waiting_characters = 0;
}

/// Each in a transaction of its own, so that one that does not fit takes no other with it.
void row_writer::insert_lost_rows_again()
{
    for (const QVariantList &values : std::as_const(waiting)) {
        if (execute(values))
            continue;
        ++lost_rows;
        on_failure(database, query);
    }
}

qint64 row_writer::take_lost_rows()
{
    return std::exchange(lost_rows, 0);
}

QVariant bound_text(const QString &text)
{
    return text.isNull() ? QVariant(QLatin1StringView("")) : QVariant(text);
}
