/// One query on a result, its rows read one after the other.
#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <memory>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

/// A value as it is stored. `bytes` belong to the cursor and are valid until its next call of `next`.
struct cell
{
    enum class type { null, integer, real, text, blob };

    type stored_as = type::null;
    qint64 integer = 0;   ///< of an integer
    double real = 0;      ///< of a real number
    QByteArrayView bytes; ///< of a text (UTF-8, NULs included) and of a blob
};

/// What a "?" of a query is replaced by: a number, or a text in UTF-8.
using query_value = std::variant<qint64, QByteArray>;
using query_values = std::vector<query_value>;

/// The rows of one query. The connection must outlive it.
class row_cursor
{
public:
    /// `values` are bound to the query's "?" in their order.
    row_cursor(sqlite3 *connection, const QByteArray &query, const query_values &values);

    /// Go to the next (or first) row. False at the end, and when the rows cannot be read: `error` says which.
    [[nodiscard]] bool next();

    /// A value of the row at hand; columns count from 0.
    [[nodiscard]] cell at(int column) const;
    /// The same as a number (0 for NULL and for what is no number) and as a text of its own (empty for NULL).
    [[nodiscard]] qint64 number(int column) const;
    [[nodiscard]] QByteArray text(int column) const;

    [[nodiscard]] int columns() const;
    [[nodiscard]] QByteArray column_name(int column) const;

    /// SQLite's result code and words when something failed; 0 and empty otherwise.
    [[nodiscard]] int error_code() const { return code; }
    [[nodiscard]] const QByteArray &error() const { return words; }

private:
    void keep_error(int new_code);

    struct finalizer
    {
        void operator()(sqlite3_stmt *prepared) const;
    };

    sqlite3 *connection;
    std::unique_ptr<sqlite3_stmt, finalizer> statement;
    int code = 0;
    QByteArray words;
};
