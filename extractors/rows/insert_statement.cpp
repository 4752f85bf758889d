#include "extractors/rows/insert_statement.h"

#include <QStringEncoder>
#include <QVariant>

#include <utility>

namespace {

constexpr qsizetype max_kept_text = 64 * 1024;       // characters; longer texts are released after their row
constexpr qsizetype max_text_as_bytes = 300'000'000; // characters; at 3 bytes each, no more than SQLite accepts
// The driver passes sizes as 32-bit counts of bytes and would silently cut longer texts. A text of this size is still
// longer than SQLite accepts, so the insert fails.
constexpr qsizetype max_bound_text = (qsizetype(1) << 30) - 1; // characters

/// A text as UTF-8; null when it is too long, or when SQLite's own conversion gives something else: that drops a byte
/// order mark at the beginning and misreads halves of surrogate pairs.
QByteArray utf8_of(const QString &text)
{
    if (text.size() > max_text_as_bytes || text.startsWith(QChar::ByteOrderMark) ||
        text.startsWith(QChar::ByteOrderSwapped))
        return {};
    QStringEncoder encoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    const QByteArray bytes = encoder.encode(text);
    return encoder.hasError() ? QByteArray() : bytes;
}

/// Whether both share one text in memory, as a constant of the run does in every row.
bool is_same(const QString &text, const QString &other)
{
    return text.constData() == other.constData() && text.size() == other.size() && text.isNull() == other.isNull();
}

} // namespace

insert_statement::insert_statement(const QSqlDatabase &db, QString statement)
    : text(std::move(statement))
    , query(db)
{
    QSqlQuery encoding(QStringLiteral("PRAGMA encoding"), db);
    takes_bytes = encoding.next() && encoding.value(0).toString() == u"UTF-8";
}

/// Placeholders have names. When one is bound by its number, Qt puts together a name for it each time, which takes
/// longer than the binding itself.
void insert_statement::prepare(qsizetype columns)
{
    QString named = text;
    names.clear();
    for (qsizetype column = columns; column > 0; --column) {
        const QString name = QStringLiteral(":value%1").arg(column);
        const QString placeholder = takes_bytes ? QStringLiteral("cast(%1 as text)").arg(name) : name;
        named.replace(named.lastIndexOf(u'?'), 1, placeholder);
        names.prepend(name);
    }
    prepared = query.prepare(named);
    bound.assign(static_cast<std::size_t>(columns), QString());
    for (const QString &name : std::as_const(names))
        query.bindValue(name, QString());
}

/// `bound` changes after the binding, which may throw when memory is short.
void insert_statement::bind(std::size_t column, const QString &value)
{
    if (is_same(value, bound[column]))
        return;
    query.bindValue(names.at(static_cast<qsizetype>(column)), converted(value));
    bound[column] = value;
}

/// A body fills two columns but is converted once.
QVariant insert_statement::converted(const QString &value) const
{
    if (value.isEmpty())
        return value; // NULL for a null text
    for (std::size_t i = 0; i < bound.size(); ++i) {
        if (is_same(value, bound[i]))
            return query.boundValue(names.at(static_cast<qsizetype>(i)));
    }
    const QByteArray bytes = takes_bytes ? utf8_of(value) : QByteArray();
    return bytes.isNull() ? QVariant(value.left(max_bound_text)) : bytes;
}

bool insert_statement::execute(const QStringList &row)
{
    if (!prepared)
        prepare(row.size());
    for (std::size_t i = 0; i < bound.size(); ++i)
        bind(i, row.at(static_cast<qsizetype>(i)));
    const bool inserted = query.exec();
    prepared = prepared && inserted;
    for (std::size_t i = 0; i < bound.size(); ++i) {
        if (bound[i].size() > max_kept_text)
            bind(i, QString());
    }
    return inserted;
}
