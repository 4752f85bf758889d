#include "host/results/row_cursor.h"

#include <sqlite3.h>

void row_cursor::finalizer::operator()(sqlite3_stmt *prepared) const
{
    sqlite3_finalize(prepared);
}

row_cursor::row_cursor(sqlite3 *on, const QByteArray &query, const query_values &values)
    : connection(on)
{
    sqlite3_stmt *prepared = nullptr;
    keep_error(sqlite3_prepare_v2(connection, query.constData(), static_cast<int>(query.size()), &prepared, nullptr));
    statement.reset(prepared);
    for (int position = 1; const query_value &value : values) {
        if (code != SQLITE_OK)
            return;
        if (const auto *number = std::get_if<qint64>(&value)) {
            keep_error(sqlite3_bind_int64(prepared, position, *number));
        } else {
            const auto &bytes = std::get<QByteArray>(value);
            keep_error(sqlite3_bind_text64(prepared, position, bytes.constData(), static_cast<quint64>(bytes.size()),
                                           SQLITE_TRANSIENT, SQLITE_UTF8));
        }
        ++position;
    }
}

void row_cursor::keep_error(int new_code)
{
    if (new_code == SQLITE_OK || new_code == SQLITE_ROW || new_code == SQLITE_DONE)
        return;
    code = new_code;
    words = sqlite3_errmsg(connection);
}

bool row_cursor::next()
{
    if (code != SQLITE_OK || !statement)
        return false;
    const int stepped = sqlite3_step(statement.get());
    keep_error(stepped);
    if (stepped == SQLITE_DONE)
        statement.reset(); // another step would begin again
    return stepped == SQLITE_ROW;
}

cell row_cursor::at(int column) const
{
    sqlite3_stmt *row = statement.get();
    cell value;
    switch (sqlite3_column_type(row, column)) {
    case SQLITE_INTEGER:
        value.stored_as = cell::type::integer;
        value.integer = sqlite3_column_int64(row, column);
        break;
    case SQLITE_FLOAT:
        value.stored_as = cell::type::real;
        value.real = sqlite3_column_double(row, column);
        break;
    case SQLITE_TEXT:
        value.stored_as = cell::type::text;
        value.bytes = QByteArrayView(sqlite3_column_text(row, column), sqlite3_column_bytes(row, column));
        break;
    case SQLITE_BLOB:
        value.stored_as = cell::type::blob;
        value.bytes = QByteArrayView(static_cast<const char *>(sqlite3_column_blob(row, column)),
                                     sqlite3_column_bytes(row, column));
        break;
    default:
        break;
    }
    return value;
}

qint64 row_cursor::number(int column) const
{
    return sqlite3_column_int64(statement.get(), column);
}

QByteArray row_cursor::text(int column) const
{
    const auto *bytes = sqlite3_column_text(statement.get(), column);
    return {reinterpret_cast<const char *>(bytes), sqlite3_column_bytes(statement.get(), column)};
}

int row_cursor::columns() const
{
    return sqlite3_column_count(statement.get());
}

QByteArray row_cursor::column_name(int column) const
{
    return sqlite3_column_name(statement.get(), column);
}
