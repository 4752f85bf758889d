#include "extractors/rows/insert_statement.h"

#include <QMetaType>
#include <QStringEncoder>
#include <QVariant>

#include <utility>

/// A value whose text is fetched when the statement runs. Qt's driver asks values of unknown kinds for their text.
struct late_text
{
    const QString *text = nullptr;
};

namespace {

constexpr qsizetype max_late_text = 16 * 1024;       // characters; SQLite copies and converts late texts
constexpr qsizetype max_kept_text = 64 * 1024;       // characters in memory until the next row
constexpr qsizetype max_text_as_bytes = 300'000'000; // characters: never more bytes than SQLite accepts, at 3 for each
// The driver hands sizes over as 32-bit counts of bytes, and so would silently cut longer texts. One of this size is
// longer than SQLite accepts, too: the insert fails.
constexpr qsizetype max_bound_text = (qsizetype(1) << 30) - 1; // characters

/// While it lives, `late_text` converts to QString. It is unregistered when the host unloads the library.
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

/// A text as UTF-8; null when SQLite would make something else of it. It drops a byte order mark at the
/// beginning, and misreads halves of surrogate pairs.
QByteArray utf8_of(const QString &text)
{
    if (text.size() > max_text_as_bytes || text.startsWith(QChar::ByteOrderMark) ||
        text.startsWith(QChar::ByteOrderSwapped))
        return {};
    QStringEncoder encoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    const QByteArray bytes = encoder.encode(text);
    return encoder.hasError() ? QByteArray() : bytes;
}

} // namespace

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
    if (value.size() > max_late_text)
        bind_long(column, value);
    else
        bind_short(column, value);
}

/// A body is in two columns: it is converted once.
void insert_statement::bind_long(std::size_t column, const QString &value)
{
    if (takes_bytes && value.constData() != converted) {
        bytes = utf8_of(value);
        converted = value.constData();
    }
    query.bindValue(static_cast<int>(column), bytes.isNull() ? QVariant(value.left(max_bound_text)) : bytes);
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
        if (row.at(static_cast<qsizetype>(i)).size() > max_kept_text)
            bind(i, QString());
    }
    return inserted;
}
