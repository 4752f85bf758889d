/// A thin layer over SQLite's own interface, for writing many rows without a copy of each text.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

struct sqlite3;
struct sqlite3_stmt;

/// A database file. Keeps its first failure and goes on without effect after it.
class sqlite_connection
{
public:
    enum class mode { read_only, read_write };

    sqlite_connection() = default;
    ~sqlite_connection() { close(); }
    Q_DISABLE_COPY_MOVE(sqlite_connection)

    /// With `read_write` a missing file is made.
    bool open(const QString &path, mode access);
    void close();

    /// Statements without results, separated by ";".
    bool execute(const char *statements);

    [[nodiscard]] QString failure() const { return first_failure; }
    [[nodiscard]] bool is_open() const { return handle != nullptr; }
    /// Keep what SQLite says, or `why`, as the failure, unless there is one.
    void note_failure(const QString &why = {});

private:
    friend class sqlite_statement;

    sqlite3 *handle = nullptr;
    QString first_failure;
};

/// A prepared statement. Values are bound from the first placeholder on, one after the other; a bound text must live
/// until `run` or the last `next`.
class sqlite_statement
{
public:
    sqlite_statement() = default;
    ~sqlite_statement() { finalize(); }
    Q_DISABLE_COPY_MOVE(sqlite_statement)

    bool prepare(sqlite_connection &connection, const char *text);
    void finalize();

    sqlite_statement &bind(qint64 value);
    sqlite_statement &bind(std::optional<qint64> value);
    sqlite_statement &bind(const QByteArray &utf8); ///< NULL when empty

    /// Execute a statement without results and make it ready for the next values.
    bool run();

    /// Step to the next row; false after the last one, when the statement is ready for the next values.
    bool next();
    [[nodiscard]] qint64 integer(int column) const;
    [[nodiscard]] bool is_null(int column) const;
    [[nodiscard]] QByteArray text(int column) const; ///< or bytes, as stored
    [[nodiscard]] QByteArray utf8(int column) const; ///< a text, from a database in any encoding
    [[nodiscard]] bool is_ready() const { return handle != nullptr; }

    /// Leave the rows that are not read and make the statement ready for the next values.
    void reset();

private:
    void check(int result);

    sqlite_connection *database = nullptr;
    sqlite3_stmt *handle = nullptr;
    int bound = 0;
};
