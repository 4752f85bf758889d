#include "extractors/row_writer.h"

#include "common/log_line.h"

#include <QMetaType>
#include <QStringEncoder>
#include <QVariant>

#include <algorithm>
#include <utility>

/// A value whose text is read when it is needed. Qt's driver asks values of unknown kinds for their text.
struct late_text
{
    const QString *text = nullptr;
};

namespace {

constexpr qint64 longest_wait = 500; // milliseconds
constexpr qsizetype most_waiting_characters = 2 * 1024 * 1024;
constexpr qint64 most_bytes_ahead = 8 * 1024 * 1024; // work on so many may take longer than the wait
constexpr int last_tries = 3;                      // to commit a locked file; each waits for the driver's busy timeout
constexpr qsizetype longest_late_text = 16 * 1024; // SQLite copies and converts late texts
constexpr qsizetype longest_kept_text = 64 * 1024; // in memory until the next row
constexpr qsizetype longest_text_as_bytes = 300'000'000; // is no more than SQLite takes, whatever it consists of
constexpr qsizetype shortest_shared_text = 64;
// The driver hands sizes over as 32-bit counts of bytes, and so would cut longer texts without a word. One of this size
// is longer than SQLite takes, too: the insert fails.
constexpr qsizetype longest_bound_text = (qsizetype(1) << 30) - 1;

// Room for the pages of a full transaction: pages that do not fit are written, and waited for, before their time.
constexpr char page_cache[] = "PRAGMA cache_size = -4096"; // KiB

/// While it lives, `late_text` converts to QString. It goes with the library, which a host may unload.
class late_text_conversion
{
public:
    late_text_conversion()
    {
        QMetaType::registerConverter<late_text, QString>([](const late_text &value) { return *value.text; });
    }
    ~late_text_conversion()
    {
        QMetaType::unregisterConverterFunction(QMetaType::fromType<late_text>(), QMetaType::fromType<QString>());
        QMetaType::unregisterMetaType(QMetaType::fromType<late_text>());
    }
    Q_DISABLE_COPY_MOVE(late_text_conversion)
};

/// A text as UTF-8; null when SQLite would make something else of it. It drops a mark in front, and takes halves of
/// characters for what they are not.
QByteArray utf8_of(const QString &text)
{
    if (text.size() > longest_text_as_bytes || text.startsWith(QChar::ByteOrderMark) ||
        text.startsWith(QChar::ByteOrderSwapped))
        return {};
    QStringEncoder encoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    const QByteArray bytes = encoder.encode(text);
    return encoder.hasError() ? QByteArray() : bytes;
}

qsizetype characters_in(const QStringList &row)
{
    qsizetype characters = 0;
    for (const QString &text : row)
        characters += text.size();
    return characters;
}

} // namespace

QString never_null(const QString &text)
{
    return text.isNull() ? QStringLiteral("") : text;
}

// ---- insert_statement ---------------------------------------------------------------------------------------------

insert_statement::insert_statement(const QSqlDatabase &db, QString statement)
    : text(std::move(statement))
    , query(db)
{
    static const late_text_conversion conversion;
    QSqlQuery encoding(QStringLiteral("PRAGMA encoding"), db);
    takes_bytes = encoding.next() && encoding.value(0).toString() == u"UTF-8";
}

void insert_statement::prepare(qsizetype columns)
{
    QString for_bytes = text;
    prepared = query.prepare(takes_bytes ? for_bytes.replace(u'?', QLatin1StringView("cast(? as text)")) : text);
    values.resize(static_cast<std::size_t>(columns));
    bindings.assign(values.size(), binding::nothing);
}

void insert_statement::bind(std::size_t column, const QString &value)
{
    if (value.size() > longest_late_text)
        bind_long(column, value);
    else
        bind_short(column, value);
}

/// A body stands in two columns: it is converted once.
void insert_statement::bind_long(std::size_t column, const QString &value)
{
    if (takes_bytes && value.constData() != converted) {
        bytes = utf8_of(value);
        converted = value.constData();
    }
    query.bindValue(static_cast<int>(column), bytes.isNull() ? QVariant(value.left(longest_bound_text)) : bytes);
    bindings[column] = binding::direct;
}

/// A text that has not changed since the first row is most likely a constant of the run: it stays bound. What is known
/// of a column changes after its binding, which may throw when memory is short.
void insert_statement::bind_short(std::size_t column, const QString &value)
{
    QString &known = values[column];
    binding &bound = bindings[column];
    const bool is_known = value.constData() == known.constData() && value.size() == known.size();
    const bool is_constant = bound == binding::nothing || (bound == binding::constant && is_known);
    const binding wanted = value.isNull() ? binding::null : is_constant ? binding::constant : binding::late;
    if (wanted != bound)
        query.bindValue(static_cast<int>(column),
                        wanted == binding::late ? QVariant::fromValue(late_text{&known}) : QVariant(value));
    bound = wanted;
    known = value;
}

bool insert_statement::execute(const QStringList &row)
{
    if (!prepared)
        prepare(row.size());
    converted = nullptr; // also when the row before did not come to its end
    for (std::size_t i = 0; i < values.size(); ++i)
        bind(i, row.at(static_cast<qsizetype>(i)));
    const bool inserted = query.exec();
    prepared = prepared && inserted;
    bytes = QByteArray();
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (row.at(static_cast<qsizetype>(i)).size() > longest_kept_text)
            bind(i, QString());
    }
    return inserted;
}

// ---- waiting_rows -------------------------------------------------------------------------------------------------

/// A text that stands in two columns of the row (a body is snippet and text) is packed once.
void waiting_rows::append(const QStringList &row)
{
    for (qsizetype i = 0; i < row.size(); ++i) {
        const QString &text = row.at(i);
        const QStringView view = text; // (QString::utf16 would make a copy of a literal)
        qsizetype begin = characters();
        for (qsizetype j = 0; j < i && text.size() >= shortest_shared_text; ++j) {
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
    for (int tries = 0; in_transaction && tries < last_tries; ++tries)
        commit();
    if (!waiting.is_empty())
        log_line("[commit] ----FAILED---- the last rows are not kept: ", database.databaseName());
}

bool row_writer::insert(const QStringList &row)
{
    const bool is_large = characters_in(row) > most_waiting_characters;
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
    if (bytes_ahead > most_bytes_ahead || waiting.characters() > most_waiting_characters ||
        oldest_waiting.elapsed() > longest_wait)
        commit();
}

void row_writer::commit()
{
    commit_or_insert_again({});
}

/// Commit; `large_row` is the row of the transaction that does not wait with the others, if there is one.
void row_writer::commit_or_insert_again(const QStringList &large_row)
{
    if (!in_transaction)
        return;
    if (!database.commit()) {
        // A new transaction can only begin when the failure has rolled the old one back. Otherwise another process
        // locks the file: the rows stay in the open transaction and the next commit takes them along.
        if (!database.transaction()) {
            if (!large_row.isEmpty())
                waiting.append(large_row);
            return;
        }
        database.rollback();
        // Each in a transaction of its own, so that one that does not fit takes no other with it.
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
