/// A thin layer over SQLite's own interface, for reading and writing many rows without a copy of each text.
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <memory>
#include <optional>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

/// A database file. Keeps its first failure; `execute` and prepared statements have no effect after it.
class sqlite_connection
{
public:
    /// `unchanging` reads the file alone: no lock, no journal, no shared memory.
    enum class mode { read_only, read_write, unchanging };

    sqlite_connection() = default;
    ~sqlite_connection() { close(); }
    Q_DISABLE_COPY_MOVE(sqlite_connection)

    /// With `read_write` a missing file is made.
    bool open(const QString &path, mode access);
    void close();

    /// Statements without results, separated by ";".
    bool execute(const char *statements);

    [[nodiscard]] const QString &failure() const { return first_failure; }
    /// Keep what SQLite says, or `why`, as the failure, unless there is one.
    void note_failure(const QString &why = {});

    /// Null when it is not open.
    [[nodiscard]] sqlite3 *native_handle() const { return handle; }

private:
    sqlite3 *handle = nullptr;
    QString first_failure;
};

/// The name by which ATTACH opens a file as `unchanging`, on a connection that is so itself.
[[nodiscard]] QByteArray unchanging_uri(const QString &path);

/// A value as it is stored. `bytes` belong to the statement and are valid until its next call of `next`.
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

/// A query that is read once, or a statement that is prepared for many values. Columns count from 0.
class sqlite_statement
{
public:
    sqlite_statement() = default;

    /// A query. Its failure is its own, not the connection's, which must outlive it. `values` are copied.
    sqlite_statement(const sqlite_connection &on, const QByteArray &query, const query_values &values = {});

    /// A statement for many values. Its failure is the connection's. Values are bound from the first placeholder on,
    /// one after the other; a bound text must live until `run` or the last `next`.
    bool prepare(sqlite_connection &on, const char *text);

    sqlite_statement &bind(qint64 value);
    sqlite_statement &bind(std::optional<qint64> value);
    sqlite_statement &bind(const QByteArray &utf8); ///< NULL when empty

    /// Execute a statement without results and make it ready for the next values.
    bool run();

    /// Go to the next (or first) row. False after the last one, and when there is a failure. A query is over then, and
    /// a prepared statement ready for the next values.
    bool next();
    [[nodiscard]] cell at(int column) const;
    [[nodiscard]] bool is_null(int column) const;
    [[nodiscard]] qint64 number(int column) const;    ///< 0 for NULL and for what is not a number
    [[nodiscard]] QByteArray text(int column) const;  ///< in UTF-8, from a database in any encoding; empty for NULL
    [[nodiscard]] QByteArray bytes(int column) const; ///< as stored

    [[nodiscard]] int columns() const;
    [[nodiscard]] QByteArray column_name(int column) const;

    [[nodiscard]] bool is_ready() const { return handle != nullptr; }
    [[nodiscard]] const QString &failure() const { return database ? database->failure() : own_failure; }

    /// Leave the rows that are not read and make the statement ready for the next values.
    void reset();

private:
    void prepare_on(sqlite3 *opened, const char *text, unsigned int flags);
    void bind_text(const QByteArray &utf8, void (*release)(void *));
    void check(bool success);

    struct finalizer
    {
        void operator()(sqlite3_stmt *prepared) const;
    };

    sqlite3 *connection = nullptr;
    sqlite_connection *database = nullptr; ///< that keeps the failures; null for a query
    std::unique_ptr<sqlite3_stmt, finalizer> handle;
    int bound = 0;
    QString own_failure;
};
