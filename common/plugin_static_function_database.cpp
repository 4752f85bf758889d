/// The database helpers. They differ in three things only: whose connection they use, what they return, and how the log
/// lines of a failure are worded. Four functions cover the first two, data the third.
#include "common/database_connection.h"
#include "common/plugin_static_function.h"

#include <QDateTime>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace {

/// The fixed texts of a helper's log lines.
struct wording
{
    const char *open = nullptr;
    const char *open_caller = nullptr;
    const char *open_error = nullptr;
    const char *query = nullptr;
    const char *query_caller = nullptr;
    const char *command = nullptr;
    const char *query_error = nullptr;
};

// Leading and doubled blanks differ from group to group. Scripts search logs for exactly these texts.

constexpr wording execute_by_path_wording = {
    .open = " Destination Db opening --------FAILED------ ",
    .open_caller = "CALLER FUNCTION -  ",
    .open_error = " error -  ",
    .query = " query  --------FAILED------ db file - ",
    .query_caller = "CALLER FUNCTION -  ",
    .command = " command -  ",
    .query_error = " error -  ",
};

constexpr wording execute_bound_by_path_wording = [] {
    wording words = execute_by_path_wording;
    words.query_caller = " CALLER FUNCTION -  ";
    return words;
}();

constexpr wording execute_by_reference_wording = [] {
    wording words = execute_by_path_wording;
    words.query_caller = " CALLER FUNCTION -  -  ";
    return words;
}();

constexpr wording list_by_path_wording = {
    .open = "Destination Db opening --------FAILED------ ",
    .open_caller = "CALLER FUNCTION -  ",
    .open_error = "error -  ",
    .query = "query  --------FAILED------db file - ",
    .query_caller = "CALLER FUNCTION -  ",
    .command = "command -  ",
    .query_error = "error -  ",
};

constexpr wording list_by_reference_wording = {
    .query = " query  --------FAILED------db file - ",
    .query_caller = " CALLER FUNCTION -  -  ",
    .command = " command -  ",
    .query_error = " error -  ",
};

/// One call of a helper, as its log lines name it.
class helper_call
{
public:
    helper_call(const char *signature_text, const wording &wording_of_helper, const QString &caller_function)
        : words(wording_of_helper)
        , signature(QString::fromLatin1(signature_text))
        , caller(caller_function)
    {
    }

    void log(const char *text, const QString &detail = {}) const
    {
        plugin_static_function::app_debug(QLatin1StringView(text) + detail, signature);
    }

    void log_failed_open(const QSqlDatabase &db) const
    {
        log(words.open, db.databaseName());
        log(words.open_caller, caller);
        log(words.open_error, db.lastError().text());
    }

    void log_failed_query(const QSqlDatabase &db, const QString &command, const QSqlQuery &query) const
    {
        log(words.query, db.databaseName());
        log(words.query_caller, caller);
        log(words.command, command);
        log(words.query_error, query.lastError().text());
    }

    /// All calls of one helper by one caller share a connection name.
    [[nodiscard]] QString connection_name() const { return signature + caller; }

private:
    const wording &words;
    QString signature;
    const QString &caller;
};

enum class outcome { done, failed, cancelled };

/// Prepare, bind and execute. A statement that cannot be prepared is executed anyway, because log lines contain the
/// driver's error of the execution.
outcome run_statement(const helper_call &call, const QSqlDatabase &db, QSqlQuery &query, const QString &command,
                      const QStringList &bind_values)
{
    query.prepare(command);
    for (const QString &value : bind_values) {
        if (plugin_static_function::bool_cancel_extraction.is_set())
            return outcome::cancelled;
        query.addBindValue(value);
    }
    if (query.exec())
        return outcome::done;
    call.log_failed_query(db, command, query);
    return outcome::failed;
}

/// The trimmed texts of one column, up to a cancel. After an error there are none: part of a damaged table would look
/// like the whole table.
outcome collect_column(QSqlQuery &query, int column_index, QStringList &texts)
{
    while (query.next()) {
        if (plugin_static_function::bool_cancel_extraction.is_set())
            return outcome::cancelled;
        texts.append(query.value(column_index).toString().trimmed());
    }
    if (!query.lastError().isValid())
        return outcome::done;
    texts.clear();
    return outcome::failed;
}

/// A cancel leaves the connection open and registered until the same caller's next call removes it.
bool execute_by_path(const helper_call &call, const QString &command, const QStringList &bind_values,
                     const QString &db_path)
{
    QSqlDatabase db = new_connection(call.connection_name(), db_path);
    if (!db.open()) {
        call.log_failed_open(db);
        return false;
    }
    outcome result = outcome::failed;
    {
        QSqlQuery query(db);
        result = run_statement(call, db, query, command, bind_values);
    }
    if (result != outcome::cancelled)
        db.close();
    return result == outcome::done;
}

bool execute_by_reference(const helper_call &call, const QString &command, const QStringList &bind_values,
                          const QSqlDatabase &db)
{
    QSqlQuery query(db);
    return run_statement(call, db, query, command, bind_values) == outcome::done;
}

/// The rows of a query that ran, and how it ended.
outcome list_rows(const helper_call &call, const QString &command, const QStringList &bind_values, int column_index,
                  const QSqlDatabase &db, QStringList &texts)
{
    QSqlQuery query(db);
    query.setForwardOnly(true);
    outcome result = run_statement(call, db, query, command, bind_values);
    if (result != outcome::done)
        return result;
    result = collect_column(query, column_index, texts);
    if (result == outcome::failed)
        call.log_failed_query(db, command, query);
    return result;
}

QStringList list_by_path(const helper_call &call, const QString &command, const QStringList &bind_values,
                         int column_index, const QString &db_path, const char *end_text)
{
    call.log(" Start ");
    QStringList texts;
    // Named by the clock: two calls within one millisecond share a name, so list calls must not overlap.
    const QString connection_name = QString::number(QDateTime::currentMSecsSinceEpoch());
    outcome result = outcome::failed;
    {
        QSqlDatabase db = new_connection(connection_name, db_path);
        if (db.open()) {
            result = list_rows(call, command, bind_values, column_index, db, texts);
            if (result == outcome::cancelled)
                return texts; // the connection stays as it is
            db.close();
        } else {
            call.log_failed_open(db);
        }
    }
    QSqlDatabase::removeDatabase(connection_name);
    if (result == outcome::done)
        call.log(end_text);
    return texts;
}

QStringList list_by_reference(const helper_call &call, const QString &command, const QStringList &bind_values,
                              int column_index, const QSqlDatabase &db)
{
    call.log(" Start ");
    QStringList texts;
    if (list_rows(call, command, bind_values, column_index, db, texts) == outcome::done)
        call.log(" end ");
    return texts;
}

} // namespace

bool plugin_static_function::execute_db_command_by_dbpath(QString command, QString db_path, QString caller)
{
    return execute_by_path({Q_FUNC_INFO, execute_by_path_wording, caller}, command, {}, db_path);
}

bool plugin_static_function::execute_db_command_with_addbindvalue_by_dbpath(QString command, QStringList bind_values,
                                                                            QString db_path, QString caller)
{
    return execute_by_path({Q_FUNC_INFO, execute_bound_by_path_wording, caller}, command, bind_values, db_path);
}

bool plugin_static_function::execute_db_command_by_dbreference(QString command, QSqlDatabase &db, QString caller)
{
    return execute_by_reference({Q_FUNC_INFO, execute_by_reference_wording, caller}, command, {}, db);
}

bool plugin_static_function::execute_db_command_with_addbindvalue_by_dbreference(QString command,
                                                                                 QStringList bind_values,
                                                                                 QSqlDatabase &db, QString caller)
{
    return execute_by_reference({Q_FUNC_INFO, execute_by_reference_wording, caller}, command, bind_values, db);
}

QStringList plugin_static_function::get_stringlist_from_db_by_dbpath(QString command, int column_index, QString db_path,
                                                                     QString caller)
{
    return list_by_path({Q_FUNC_INFO, list_by_path_wording, caller}, command, {}, column_index, db_path, " end ");
}

QStringList plugin_static_function::get_stringlist_from_db_with_addbindvalues_by_dbpath(QString command,
                                                                                        QStringList bind_values,
                                                                                        int column_index,
                                                                                        QString db_path, QString caller)
{
    return list_by_path({Q_FUNC_INFO, list_by_path_wording, caller}, command, bind_values, column_index, db_path,
                        " End "); // a capital here, and only here
}

QStringList plugin_static_function::get_stringlist_from_db_by_dbreference(QString command, int column_index,
                                                                          QSqlDatabase &db, QString caller)
{
    return list_by_reference({Q_FUNC_INFO, list_by_reference_wording, caller}, command, {}, column_index, db);
}

QStringList plugin_static_function::get_stringlist_from_db_with_addbindvalues_by_dbreference(
    QString command, QStringList bind_values, int column_index, QSqlDatabase &db, QString caller)
{
    return list_by_reference({Q_FUNC_INFO, list_by_reference_wording, caller}, command, bind_values, column_index, db);
}

bool plugin_static_function::check_value_existence_in_db_by_dbreference(QString command, int column_index,
                                                                        QString value, QSqlDatabase db)
{
    QSqlQuery query(db);
    query.setForwardOnly(true);
    query.prepare(command);
    QStringList texts;
    const outcome result = query.exec() ? collect_column(query, column_index, texts) : outcome::failed;
    if (result == outcome::failed) {
        // The label names the by-path form, although the function works by reference.
        const QString signature = QString::fromLatin1(Q_FUNC_INFO);
        app_debug(QLatin1StringView("[check_value_existence_in_db_by_dbpath] query --------FAILED------") +
                      db.connectionName(),
                  signature);
        app_debug(QLatin1StringView("[check_value_existence_in_db_by_dbpath]command") + command, signature);
        app_debug(QLatin1StringView("[check_value_existence_in_db_by_dbpath] error") + query.lastError().text(),
                  signature);
        return false;
    }
    if (result == outcome::cancelled)
        return false;
    const QString sought = value.trimmed();
    for (const QString &text : std::as_const(texts)) {
        if (bool_cancel_extraction.is_set())
            return false;
        if (text == sought)
            return true;
    }
    return false;
}

QStringList plugin_static_function::get_total_tables_list_by_dbpath(QString db_path, QString caller)
{
    const helper_call call(Q_FUNC_INFO, execute_by_path_wording, caller);
    QSqlDatabase db = new_connection(call.connection_name(), db_path);
    if (!db.open()) {
        call.log_failed_open(db);
        return {};
    }
    // `tables` does not report a schema that cannot be read to its end.
    const QString schema = QStringLiteral("select name from sqlite_master");
    QStringList names;
    const bool is_whole = list_rows(call, schema, {}, 0, db, names) != outcome::failed;
    const QStringList tables = is_whole ? db.tables(QSql::Tables) : QStringList();
    db.close();
    return tables;
}
