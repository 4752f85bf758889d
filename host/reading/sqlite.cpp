#include "host/reading/sqlite.h"

#include <sqlite3.h>

bool sqlite_connection::open(const QString &path, mode access)
{
    close();
    first_failure.clear();
    const int flags = access == mode::read_only ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    if (sqlite3_open_v2(path.toUtf8().constData(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr) == SQLITE_OK)
        return true;
    note_failure();
    close();
    return false;
}

void sqlite_connection::close()
{
    sqlite3_close_v2(handle);
    handle = nullptr;
}

bool sqlite_connection::execute(const char *statements)
{
    if (!first_failure.isEmpty() || !handle)
        return false;
    if (sqlite3_exec(handle, statements, nullptr, nullptr, nullptr) == SQLITE_OK)
        return true;
    note_failure();
    return false;
}

void sqlite_connection::note_failure(const QString &why)
{
    if (first_failure.isEmpty() && !why.isEmpty())
        first_failure = why;
    else if (first_failure.isEmpty())
        first_failure = handle ? QString::fromUtf8(sqlite3_errmsg(handle)) : QStringLiteral("out of memory");
}

bool sqlite_statement::prepare(sqlite_connection &connection, const char *text)
{
    finalize();
    database = &connection;
    if (connection.handle && connection.first_failure.isEmpty())
        check(sqlite3_prepare_v3(connection.handle, text, -1, SQLITE_PREPARE_PERSISTENT, &handle, nullptr));
    return handle != nullptr;
}

void sqlite_statement::finalize()
{
    sqlite3_finalize(handle);
    handle = nullptr;
    bound = 0;
}

void sqlite_statement::check(int result)
{
    if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW)
        database->note_failure();
}

sqlite_statement &sqlite_statement::bind(qint64 value)
{
    if (handle)
        check(sqlite3_bind_int64(handle, ++bound, value));
    return *this;
}

sqlite_statement &sqlite_statement::bind(std::optional<qint64> value)
{
    if (value)
        return bind(*value);
    ++bound; // what is not bound is NULL
    return *this;
}

sqlite_statement &sqlite_statement::bind(const QByteArray &utf8)
{
    ++bound;
    if (handle && !utf8.isEmpty())
        check(sqlite3_bind_text64(handle, bound, utf8.constData(), static_cast<sqlite3_uint64>(utf8.size()),
                                  SQLITE_STATIC, SQLITE_UTF8));
    return *this;
}

bool sqlite_statement::run()
{
    const bool done = handle && database->first_failure.isEmpty() && sqlite3_step(handle) == SQLITE_DONE;
    if (handle && !done)
        database->note_failure();
    reset();
    return done;
}

bool sqlite_statement::next()
{
    if (!handle || !database->first_failure.isEmpty())
        return false;
    const int result = sqlite3_step(handle);
    if (result == SQLITE_ROW)
        return true;
    check(result);
    reset();
    return false;
}

void sqlite_statement::reset()
{
    bound = 0;
    if (!handle)
        return;
    sqlite3_reset(handle);
    sqlite3_clear_bindings(handle);
}

qint64 sqlite_statement::integer(int column) const
{
    return sqlite3_column_int64(handle, column);
}

bool sqlite_statement::is_null(int column) const
{
    return sqlite3_column_type(handle, column) == SQLITE_NULL;
}

QByteArray sqlite_statement::utf8(int column) const
{
    const auto *letters = reinterpret_cast<const char *>(sqlite3_column_text(handle, column));
    return {letters, sqlite3_column_bytes(handle, column)};
}

QByteArray sqlite_statement::text(int column) const
{
    const auto *bytes = static_cast<const char *>(sqlite3_column_blob(handle, column));
    return {bytes, sqlite3_column_bytes(handle, column)};
}
