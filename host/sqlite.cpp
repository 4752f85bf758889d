#include "host/sqlite.h"

#include <QFile>

#include <sqlite3.h>

namespace {

QByteArrayView text_at(sqlite3_stmt *row, int column)
{
    return {sqlite3_column_text(row, column), sqlite3_column_bytes(row, column)};
}

QByteArrayView bytes_at(sqlite3_stmt *row, int column)
{
    return {static_cast<const char *>(sqlite3_column_blob(row, column)), sqlite3_column_bytes(row, column)};
}

} // namespace

bool sqlite_connection::open(const QString &path, mode access)
{
    close();
    first_failure.clear();
    const QByteArray name = access == mode::unchanging ? unchanging_uri(path) : path.toUtf8();
    const int flags = access == mode::read_write   ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE
                      : access == mode::unchanging ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI
                                                   : SQLITE_OPEN_READONLY;
    if (sqlite3_open_v2(name.constData(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr) == SQLITE_OK)
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
    if (first_failure.isEmpty())
        first_failure = why.isEmpty() ? QString::fromUtf8(sqlite3_errmsg(handle)) : why;
}

QByteArray unchanging_uri(const QString &path)
{
    return "file:" + QFile::encodeName(path).toPercentEncoding("/") + "?mode=ro&immutable=1";
}

sqlite_statement::sqlite_statement(const sqlite_connection &on, const QByteArray &query, const query_values &values)
{
    prepare_on(on.native_handle(), query.constData(), 0);
    for (const query_value &value : values) {
        if (const auto *number = std::get_if<qint64>(&value))
            bind(*number);
        else
            bind_text(std::get<QByteArray>(value), SQLITE_TRANSIENT);
    }
}

bool sqlite_statement::prepare(sqlite_connection &on, const char *text)
{
    *this = {};
    database = &on;
    if (on.native_handle() && on.failure().isEmpty())
        prepare_on(on.native_handle(), text, SQLITE_PREPARE_PERSISTENT);
    return is_ready();
}

void sqlite_statement::prepare_on(sqlite3 *opened, const char *text, unsigned int flags)
{
    connection = opened;
    sqlite3_stmt *prepared = nullptr;
    check(sqlite3_prepare_v3(connection, text, -1, flags, &prepared, nullptr) == SQLITE_OK);
    handle.reset(prepared);
}

void sqlite_statement::finalizer::operator()(sqlite3_stmt *prepared) const
{
    sqlite3_finalize(prepared);
}

void sqlite_statement::check(bool success)
{
    if (success)
        return;
    if (database)
        database->note_failure();
    else
        own_failure = QString::fromUtf8(sqlite3_errmsg(connection));
}

sqlite_statement &sqlite_statement::bind(qint64 value)
{
    ++bound;
    if (handle)
        check(sqlite3_bind_int64(handle.get(), bound, value) == SQLITE_OK);
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
    if (utf8.isEmpty())
        ++bound;
    else
        bind_text(utf8, SQLITE_STATIC);
    return *this;
}

void sqlite_statement::bind_text(const QByteArray &utf8, void (*release)(void *))
{
    ++bound;
    if (handle)
        check(sqlite3_bind_text64(handle.get(), bound, utf8.constData(), static_cast<sqlite3_uint64>(utf8.size()),
                                  release, SQLITE_UTF8) == SQLITE_OK);
}

bool sqlite_statement::run()
{
    const bool done = handle && failure().isEmpty() && sqlite3_step(handle.get()) == SQLITE_DONE;
    check(done || !handle);
    reset();
    return done;
}

bool sqlite_statement::next()
{
    if (!handle || !failure().isEmpty())
        return false;
    const int result = sqlite3_step(handle.get());
    if (result == SQLITE_ROW)
        return true;
    check(result == SQLITE_DONE);
    if (database)
        reset();
    else
        handle.reset(); // another step would begin again
    return false;
}

void sqlite_statement::reset()
{
    bound = 0;
    if (!handle)
        return;
    sqlite3_reset(handle.get());
    sqlite3_clear_bindings(handle.get());
}

cell sqlite_statement::at(int column) const
{
    switch (sqlite3_column_type(handle.get(), column)) {
    case SQLITE_INTEGER:
        return {.stored_as = cell::type::integer, .integer = number(column)};
    case SQLITE_FLOAT:
        return {.stored_as = cell::type::real, .real = sqlite3_column_double(handle.get(), column)};
    case SQLITE_TEXT:
        return {.stored_as = cell::type::text, .bytes = text_at(handle.get(), column)};
    case SQLITE_BLOB:
        return {.stored_as = cell::type::blob, .bytes = bytes_at(handle.get(), column)};
    default:
        return {};
    }
}

bool sqlite_statement::is_null(int column) const
{
    return sqlite3_column_type(handle.get(), column) == SQLITE_NULL;
}

qint64 sqlite_statement::number(int column) const
{
    return sqlite3_column_int64(handle.get(), column);
}

QByteArray sqlite_statement::text(int column) const
{
    return text_at(handle.get(), column).toByteArray();
}

QByteArray sqlite_statement::bytes(int column) const
{
    return bytes_at(handle.get(), column).toByteArray();
}

int sqlite_statement::columns() const
{
    return sqlite3_column_count(handle.get());
}

QByteArray sqlite_statement::column_name(int column) const
{
    return sqlite3_column_name(handle.get(), column);
}
