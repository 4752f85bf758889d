/// How the yardstick programs read and write rows: prepared statements, one transaction. With PLAIN_QT they use
/// QSqlDatabase and QSqlQuery with values bound as strings, otherwise the SQLite C API.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#if defined(PLAIN_QT)
#    include <QSqlDatabase>
#    include <QSqlQuery>
#    include <QString>
#    include <QVariant>
#else
#    include <sqlite3.h>
#endif

/// "create table ..." with the result's columns as texts, and the insert statement.
inline std::string table_sql(const std::string &table, std::span<const char *const> columns)
{
    std::string sql = "create table " + table + "(bookmark INTEGER,INT INTEGER PRIMARY KEY";
    for (const char *column : columns)
        sql += std::string(",") + column + " varchar(500)";
    return sql + ")";
}

inline std::string insert_sql(const std::string &table, std::span<const char *const> columns)
{
    std::string names = "bookmark";
    std::string values = "0";
    for (const char *column : columns) {
        names += std::string(",") + column;
        values += ",?";
    }
    return "insert into " + table + "(" + names + ") values(" + values + ")";
}

#if defined(PLAIN_QT)

using field = QVariant; // as read; bound as a string

inline field text_field(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// A database with a transaction open.
class database
{
public:
    explicit database(const std::filesystem::path &path)
    {
        const QString name = QString::fromStdString(path.string());
        db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(name);
        db.open();
        db.transaction();
    }
    ~database()
    {
        db.commit();
        db.close();
    }
    void run(const std::string &sql) { QSqlQuery(db).exec(QString::fromStdString(sql)); }

    QSqlDatabase db;
};

class rows_of
{
public:
    rows_of(database &source, const char *sql)
        : query(source.db)
    {
        query.setForwardOnly(true);
        query.prepare(QString::fromLatin1(sql));
        query.exec();
    }
    bool next() { return query.next(); }
    field text(int column) const
    {
        const QVariant value = query.value(column);
        return value.isNull() ? QVariant() : QVariant(value.toString());
    }
    long long integer(int column) const { return query.value(column).toLongLong(); }
    bool is_null(int column) const { return query.isNull(column); }

private:
    QSqlQuery query;
};

class sink
{
public:
    sink(database &result, const std::string &table, std::span<const char *const> columns)
    {
        result.run(table_sql(table, columns));
        query.emplace(result.db);
        query->prepare(QString::fromStdString(insert_sql(table, columns)));
    }
    void insert(std::initializer_list<field> values)
    {
        for (const field &value : values)
            query->addBindValue(value);
        query->exec();
    }

private:
    std::optional<QSqlQuery> query;
};

#else

using field = std::optional<std::string_view>; // none is NULL

inline field text_field(std::string_view text)
{
    return text.data() ? text : std::string_view("");
}

class database
{
public:
    explicit database(const std::filesystem::path &path)
    {
        sqlite3_open(path.c_str(), &db);
        run("begin");
    }
    ~database()
    {
        run("commit");
        sqlite3_close(db);
    }
    void run(const std::string &sql) { sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr); }

    sqlite3 *db = nullptr;
};

class rows_of
{
public:
    rows_of(database &source, const char *sql) { sqlite3_prepare_v2(source.db, sql, -1, &statement, nullptr); }
    ~rows_of() { sqlite3_finalize(statement); }
    bool next() { return sqlite3_step(statement) == SQLITE_ROW; }
    field text(int column) const
    {
        const auto *bytes = reinterpret_cast<const char *>(sqlite3_column_text(statement, column));
        if (!bytes)
            return {};
        return std::string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
    }
    long long integer(int column) const { return sqlite3_column_int64(statement, column); }
    bool is_null(int column) const { return sqlite3_column_type(statement, column) == SQLITE_NULL; }

private:
    sqlite3_stmt *statement = nullptr;
};

class sink
{
public:
    sink(database &result, const std::string &table, std::span<const char *const> columns)
    {
        result.run(table_sql(table, columns));
        sqlite3_prepare_v2(result.db, insert_sql(table, columns).c_str(), -1, &statement, nullptr);
    }
    ~sink() { sqlite3_finalize(statement); }
    void insert(std::initializer_list<field> values)
    {
        int position = 0;
        for (const field &value : values) {
            ++position;
            if (value)
                sqlite3_bind_text(statement, position, value->data(), static_cast<int>(value->size()), SQLITE_STATIC);
            else
                sqlite3_bind_null(statement, position);
        }
        sqlite3_step(statement);
        sqlite3_reset(statement);
    }

private:
    sqlite3_stmt *statement = nullptr;
};

#endif
