#include "host/reading/android_database.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace {

constexpr QLatin1StringView companions[] = {QLatin1StringView(""), QLatin1StringView("-wal")};

/// Copies a file; anything but a regular file is not opened.
bool copy_file(const QString &from, const QString &to)
{
    return QFileInfo(from).isFile() && QFile::copy(from, to) &&
           QFile::setPermissions(to, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

} // namespace

android_database::~android_database()
{
    connection.close();
    for (const QLatin1StringView companion :
         {QLatin1StringView(""), QLatin1StringView("-wal"), QLatin1StringView("-shm"), QLatin1StringView("-journal")}) {
        if (!copy.isEmpty())
            QFile::remove(copy + companion);
    }
}

bool android_database::open(const QString &path, const QString &folder)
{
    copy = folder + QLatin1StringView("android.db");
    for (const QLatin1StringView companion : companions) {
        QFile::remove(copy + companion);
        const bool needed = companion.isEmpty() || QFileInfo::exists(path + companion);
        if (needed && !copy_file(path + companion, copy + companion)) {
            refused = QStringLiteral("it could not be copied into the result directory");
            return false;
        }
    }
    size = QFileInfo(path).size() + QFileInfo(copy + QLatin1StringView("-wal")).size();
    return connection.open(copy, sqlite_connection::mode::read_write) &&
           connection.execute("PRAGMA trusted_schema = OFF; PRAGMA mmap_size = 0;");
}

QString android_database::failure() const
{
    return refused.isEmpty() ? connection.failure() : refused;
}

bool android_database::read(sqlite_statement &rows, const QByteArray &table, const QByteArrayList &columns)
{
    sqlite_statement entry;
    entry.prepare(connection,
                  "SELECT sql FROM sqlite_master WHERE type IN ('table', 'view') AND name = ? COLLATE NOCASE");
    entry.bind(table);
    if (!entry.next())
        return false;
    if (!entry.text(0).startsWith("CREATE TABLE ")) { // SQLite stores every ordinary table like this
        refused = QStringLiteral("%1 is not an ordinary table and was not read").arg(QString::fromUtf8(table));
        return false;
    }
    entry.reset();
    QSet<QByteArray> existing, worked_out;
    sqlite_statement described;
    described.prepare(connection, "SELECT lower(name), hidden FROM pragma_table_xinfo(?)");
    described.bind(table);
    while (described.next())
        (described.number(1) == 2 ? worked_out : existing).insert(described.text(0)); // 2 is not stored
    QByteArrayList selected;
    for (const QByteArray &column : columns) {
        if (worked_out.contains(column.toLower())) {
            refused = QStringLiteral("%1.%2 is a computed column and was not read")
                          .arg(QString::fromUtf8(table), QString::fromUtf8(column));
            return false;
        }
        selected.append(existing.contains(column.toLower()) ? '"' + column + '"' : QByteArray("NULL"));
    }
    // No file has more rows than bytes; a damaged one can lead in circles.
    const QByteArray query =
        "SELECT " + selected.join(", ") + " FROM \"" + table + "\" NOT INDEXED LIMIT " + QByteArray::number(size);
    return rows.prepare(connection, query.constData());
}
