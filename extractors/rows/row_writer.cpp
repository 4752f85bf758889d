#include "extractors/rows/row_writer.h"

#include "common/log_line.h"
#include "extractors/rows/texts.h"

#include <utility>

namespace {

constexpr qint64 max_wait = 500; // milliseconds
constexpr qsizetype max_waiting_characters = 2 * 1024 * 1024;
constexpr qint64 max_bytes_ahead = 8 * 1024 * 1024; // parsing so many may take longer than `max_wait`
constexpr int max_last_tries = 3;                   // commits of a locked file, each with the driver's busy timeout
constexpr qsizetype min_shared_text = 64;           // characters

// Room for the pages of a full transaction: pages that do not fit are written early, and the run waits for that.
constexpr char page_cache[] = "PRAGMA cache_size = -4096"; // KiB

qsizetype characters_in(const QStringList &row)
{
    qsizetype characters = 0;
    for (const QString &text : row)
        characters += text.size();
    return characters;
}

} // namespace

// ---- waiting_rows -------------------------------------------------------------------------------------------------

/// A text that is in two columns of the row (a body is snippet and text) is packed once.
void waiting_rows::append(const QStringList &row)
{
    for (qsizetype i = 0; i < row.size(); ++i) {
        const QString &text = row.at(i);
        const QStringView view = text; // (QString::utf16 would make a copy of a literal)
        qsizetype begin = characters();
        for (qsizetype j = 0; j < i && text.size() >= min_shared_text; ++j) {
            if (row.at(j).constData() == text.constData())
                begin = texts[texts.size() - static_cast<std::size_t>(i - j)].begin;
        }
        texts.push_back({begin, text.isNull() ? -1 : text.size()});
        if (begin == characters())
            characters_of_all.insert(characters_of_all.end(), view.utf16(), view.utf16() + view.size());
    }
    columns = row.size();
}

void waiting_rows::clear()
{
    characters_of_all.clear();
    texts.clear();
}

void waiting_rows::for_each(const std::function<void(const QStringList &)> &take) const
{
    const auto *all = reinterpret_cast<const QChar *>(characters_of_all.data());
    QStringList row;
    for (const packed_text &text : texts) {
        row.append(text.size < 0 ? QString() : never_null(QString(all + text.begin, text.size)));
        if (row.size() == columns) {
            take(row);
            row.clear();
        }
    }
}

// ---- row_writer ---------------------------------------------------------------------------------------------------

row_writer::row_writer(const QSqlDatabase &db, const QString &statement_text, failure_log log_failure)
    : database(db)
    , statement(db, statement_text)
    , on_failure(std::move(log_failure))
{
    QSqlQuery(database).exec(QLatin1StringView(page_cache));
}

row_writer::~row_writer()
{
    for (int tries = 0; in_transaction && tries < max_last_tries; ++tries)
        commit();
    if (!waiting.is_empty())
        log_line("[commit] ----FAILED---- the last rows are not kept: ", database.databaseName());
}

bool row_writer::insert(const QStringList &row)
{
    const bool is_large = characters_in(row) > max_waiting_characters;
    if (is_large)
        commit(); // it is committed by itself, so that no copy of it has to be kept
    if (!in_transaction)
        in_transaction = database.transaction();
    if (!statement.execute(row)) {
        on_failure(statement.statement(), statement.error());
        commit();
        return false;
    }
    if (is_large) {
        commit_or_insert_again(row);
        return true;
    }
    if (waiting.is_empty())
        oldest_waiting.start();
    waiting.append(row);
    return true;
}

void row_writer::commit_if_due(qint64 bytes_ahead)
{
    if (waiting.is_empty())
        return;
    if (bytes_ahead > max_bytes_ahead || waiting.characters() > max_waiting_characters ||
        oldest_waiting.elapsed() > max_wait)
        commit();
}

void row_writer::commit()
{
    commit_or_insert_again({});
}

/// Commit. `large_row` is the transaction's large row, which is not among the waiting ones; empty when there is none.
void row_writer::commit_or_insert_again(const QStringList &large_row)
{
    if (!in_transaction)
        return;
    if (!database.commit()) {
        // A new transaction can only begin when the failure has rolled the old one back. Otherwise another process
        // locks the file: the rows stay in the open transaction and the next commit includes them.
        if (!database.transaction()) {
            if (!large_row.isEmpty())
                waiting.append(large_row);
            return;
        }
        database.rollback();
        // Each in a transaction of its own, so that a row that does not fit loses no other.
        waiting.for_each([this](const QStringList &row) { insert_again(row); });
        if (!large_row.isEmpty())
            insert_again(large_row);
    }
    in_transaction = false;
    waiting.clear();
}

void row_writer::insert_again(const QStringList &row)
{
    if (statement.execute(row))
        return;
    ++lost_rows;
    on_failure(statement.statement(), statement.error());
}

qint64 row_writer::take_lost_rows()
{
    return std::exchange(lost_rows, 0);
}
