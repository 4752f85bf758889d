/// The database helpers: their results, and the exact lines of their failures.
#include "common/database_connection.h"
#include "common/plugin_static_function.h"
#include "tests/support/support.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QTest>

using statics = plugin_static_function;

namespace {

const QString caller = QStringLiteral("void tester::asks()");
const QString missing_table = QStringLiteral("select a from nowhere where b = ?");
const QString unopenable = QStringLiteral("/nonexistent/x.db");
const QString open_error = QStringLiteral("unable to open database file Error opening database");
const QString mismatch = QStringLiteral("Parameter count mismatch");

} // namespace

class test_database_helpers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void results();
    void failure_lines_data();
    void failure_lines();
    void damaged_tables();
    void cancelled();
    void connections_left_behind();

private:
    /// Run one helper by name; its result as texts.
    QStringList call(const QString &helper, const QString &command, const QString &path);
    QString path() const { return directory->filePath(QStringLiteral("source.db")); }

    std::unique_ptr<QTemporaryDir> directory;
    QSqlDatabase db;
};

void test_database_helpers::init()
{
    directory = std::make_unique<QTemporaryDir>();
    QVERIFY(run_sql(path(), {QStringLiteral("create table t(a, b)"), QStringLiteral("create view v as select 1"),
                             QStringLiteral("insert into t values(' one ', 1), (null, 1), ('two', 2)")}));
    db = new_connection(QStringLiteral("by reference"), path());
    QVERIFY(db.open());
}

void test_database_helpers::cleanup()
{
    db = QSqlDatabase();
    for (const QString &name : QSqlDatabase::connectionNames())
        QSqlDatabase::removeDatabase(name);
    statics::set_essentials();
}

QStringList test_database_helpers::call(const QString &helper, const QString &command, const QString &db_path)
{
    const QStringList one = {QStringLiteral("1")};
    const auto truth = [](bool value) { return QStringList(value ? QStringLiteral("true") : QStringLiteral("false")); };
    if (helper == u"execute path")
        return truth(statics::execute_db_command_by_dbpath(command, db_path, caller));
    if (helper == u"execute bound path")
        return truth(statics::execute_db_command_with_addbindvalue_by_dbpath(command, one, db_path, caller));
    if (helper == u"execute reference")
        return truth(statics::execute_db_command_by_dbreference(command, db, caller));
    if (helper == u"execute bound reference")
        return truth(statics::execute_db_command_with_addbindvalue_by_dbreference(command, one, db, caller));
    if (helper == u"list path")
        return statics::get_stringlist_from_db_by_dbpath(command, 0, db_path, caller);
    if (helper == u"list bound path")
        return statics::get_stringlist_from_db_with_addbindvalues_by_dbpath(command, one, 0, db_path, caller);
    if (helper == u"list reference")
        return statics::get_stringlist_from_db_by_dbreference(command, 0, db, caller);
    if (helper == u"list bound reference")
        return statics::get_stringlist_from_db_with_addbindvalues_by_dbreference(command, one, 0, db, caller);
    if (helper == u"check")
        return truth(statics::check_value_existence_in_db_by_dbreference(command, 0, QStringLiteral(" one"), db));
    return statics::get_total_tables_list_by_dbpath(db_path, caller);
}

void test_database_helpers::results()
{
    const QString all = QStringLiteral("select a from t");
    const QString some = QStringLiteral("select a from t where b = ?");
    const QStringList three = {QStringLiteral("one"), QString(QStringLiteral("")), QStringLiteral("two")};
    // A text does not equal the integers of a column without affinity: values are bound as texts.
    const QStringList none;
    QCOMPARE(call(QStringLiteral("list path"), all, path()), three);
    QCOMPARE(call(QStringLiteral("list reference"), all, path()), three);
    QCOMPARE(call(QStringLiteral("list bound path"), some, path()), none);
    QCOMPARE(call(QStringLiteral("list bound reference"), QStringLiteral("select a from t where b = cast(? as int)"),
                  path()),
             three.mid(0, 2));
    QCOMPARE(statics::get_stringlist_from_db_by_dbpath(all, 7, path(), caller),
             QStringList({QString(), QString(), QString()}));
    QCOMPARE(call(QStringLiteral("tables"), {}, path()), QStringList(QStringLiteral("t")));

    QCOMPARE(call(QStringLiteral("check"), all, {}), QStringList(QStringLiteral("true")));
    QVERIFY(!statics::check_value_existence_in_db_by_dbreference(all, 0, QStringLiteral("ONE"), db));

    // Twice by one caller, on two files: the second connection replaces the first.
    const QString other = directory->filePath(QStringLiteral("other.db"));
    QVERIFY(statics::execute_db_command_by_dbpath(QStringLiteral("create table x(a)"), other, caller));
    QVERIFY(statics::execute_db_command_with_addbindvalue_by_dbpath(QStringLiteral("insert into t values(?, 9)"),
                                                                    {QStringLiteral("new")}, path(), caller));
    QVERIFY(statics::execute_db_command_by_dbpath(QStringLiteral("delete from t where b < 9"), path(), caller));
    QCOMPARE(rows_of(path(), all), QStringList(QStringLiteral("new")));
}

void test_database_helpers::failure_lines_data()
{
    QTest::addColumn<QString>("helper");
    QTest::addColumn<QString>("db_path");
    QTest::addColumn<QString>("function");
    QTest::addColumn<QStringList>("lines"); // PATH stands for the database of the test
    const auto add = [](const char *helper, const QString &db_path, const char *function, const QStringList &lines) {
        QTest::newRow(qPrintable(QString::fromLatin1(helper) + (db_path.isEmpty() ? u" query" : u" open")))
            << QString::fromLatin1(helper) << db_path << QString::fromLatin1(function) << lines;
    };
    const QString command = u"command -  " + missing_table;
    const QStringList cannot_open = {u" Destination Db opening --------FAILED------ " + unopenable,
                                     u"CALLER FUNCTION -  " + caller, u" error -  " + open_error};
    const QStringList list_cannot_open = {QStringLiteral(" Start "),
                                          u"Destination Db opening --------FAILED------ " + unopenable,
                                          u"CALLER FUNCTION -  " + caller, u"error -  " + open_error};
    const auto query = [&](const char *query_text, const char *caller_text, const char *blank, const QString &error) {
        return QStringList{QLatin1StringView(query_text) + u"PATH", QLatin1StringView(caller_text) + caller,
                           QLatin1StringView(blank) + command, QLatin1StringView(blank) + u"error -  " + error};
    };
    const auto started = [](const QStringList &lines) { return QStringList(QStringLiteral(" Start ")) + lines; };
    constexpr char executed[] = " query  --------FAILED------ db file - ";
    const QString no_query = QStringLiteral("No query Unable to fetch row");

    add("execute path", unopenable, "execute_db_command_by_dbpath", cannot_open);
    add("execute path", {}, "execute_db_command_by_dbpath", query(executed, "CALLER FUNCTION -  ", " ", no_query));
    add("execute bound path", unopenable, "execute_db_command_with_addbindvalue_by_dbpath", cannot_open);
    add("execute bound path", {}, "execute_db_command_with_addbindvalue_by_dbpath",
        query(executed, " CALLER FUNCTION -  ", " ", mismatch));
    add("execute reference", {}, "execute_db_command_by_dbreference",
        query(executed, " CALLER FUNCTION -  -  ", " ", no_query));
    add("execute bound reference", {}, "execute_db_command_with_addbindvalue_by_dbreference",
        query(executed, " CALLER FUNCTION -  -  ", " ", mismatch));
    add("list path", unopenable, "get_stringlist_from_db_by_dbpath", list_cannot_open);
    add("list path", {}, "get_stringlist_from_db_by_dbpath",
        started(query("query  --------FAILED------db file - ", "CALLER FUNCTION -  ", "", no_query)));
    add("list bound path", {}, "get_stringlist_from_db_with_addbindvalues_by_dbpath",
        started(query("query  --------FAILED------db file - ", "CALLER FUNCTION -  ", "", mismatch)));
    add("list reference", {}, "get_stringlist_from_db_by_dbreference",
        started(query(" query  --------FAILED------db file - ", " CALLER FUNCTION -  -  ", " ", no_query)));
    add("list bound reference", {}, "get_stringlist_from_db_with_addbindvalues_by_dbreference",
        started(query(" query  --------FAILED------db file - ", " CALLER FUNCTION -  -  ", " ", mismatch)));
    add("check", {}, "check_value_existence_in_db_by_dbreference",
        {QStringLiteral("[check_value_existence_in_db_by_dbpath] query --------FAILED------by reference"),
         u"[check_value_existence_in_db_by_dbpath]command" + missing_table,
         u"[check_value_existence_in_db_by_dbpath] error" + no_query});
    add("tables", unopenable, "get_total_tables_list_by_dbpath", cannot_open);
}

void test_database_helpers::failure_lines()
{
    QFETCH(QString, helper);
    QFETCH(QString, db_path);
    QFETCH(QString, function);
    QFETCH(QStringList, lines);
    lines.replaceInStrings(QStringLiteral("PATH"), path());
    for (QString &line : lines)
        line.prepend(QLatin1StringView("plugin_static_function::") + function + QLatin1StringView(": "));
    const log_capture log;
    const QStringList result = call(helper, missing_table, db_path.isEmpty() ? path() : db_path);
    QVERIFY(result.isEmpty() || result.first() == u"false");
    QCOMPARE(log.lines(), lines);
}

/// Rows before the damage are not returned: a caller would take them for all rows.
void test_database_helpers::damaged_tables()
{
    const QString damaged = directory->filePath(QStringLiteral("damaged.db"));
    QVERIFY(run_sql(damaged, {QStringLiteral("pragma page_size = 1024"), QStringLiteral("create table t(a, b)"),
                              QStringLiteral("with recursive n(i) as (select 1 union all select i + 1 from n where i < "
                                             "99) insert into t select printf('%0200d', i), 1 from n")}));
    damage_page_with(damaged, "00050");
    db = QSqlDatabase();
    db = new_connection(QStringLiteral("by reference"), damaged);
    QVERIFY(db.open());
    const QStringList bound = {QStringLiteral("list bound path"), QStringLiteral("list bound reference")};
    for (const QString &helper : bound + QStringList({QStringLiteral("list path"), QStringLiteral("list reference"),
                                                      QStringLiteral("check")})) {
        const log_capture log;
        const QString command = QLatin1StringView("select a from t") +
                                (bound.contains(helper) ? QStringLiteral(" where b = cast(? as int)") : QString());
        const QStringList result = call(helper, command, damaged);
        QCOMPARE(result, helper == u"check" ? QStringList(QStringLiteral("false")) : QStringList());
        QCOMPARE(log.lines_with(QStringLiteral("FAILED")).size(), 1);
        QVERIFY(log.lines_with(QStringLiteral("malformed")).size() == 1 &&
                log.lines_with(QStringLiteral("end ")).isEmpty());
    }
    damage_page_with(damaged, "SQLite format 3");
    const log_capture log;
    QCOMPARE(call(QStringLiteral("tables"), {}, damaged), QStringList());
    QCOMPARE(log.lines_with(QStringLiteral(" query  --------FAILED------ db file - ")).size(), 1);
}

void test_database_helpers::cancelled()
{
    statics::set_cancel_extraction(true);
    const QString all = QStringLiteral("select a from t");
    QCOMPARE(call(QStringLiteral("list reference"), all, {}), QStringList());
    QCOMPARE(call(QStringLiteral("list bound path"), QStringLiteral("select a from t where b = ?"), path()),
             QStringList());
    QCOMPARE(call(QStringLiteral("check"), all, {}), QStringList(QStringLiteral("false")));
    QCOMPARE(call(QStringLiteral("execute bound path"), QStringLiteral("delete from t where a <> ?"), path()),
             QStringList(QStringLiteral("false")));
    QCOMPARE(rows_of(path(), all).size(), 3);
    // Without a value to bind, cancelling is not checked.
    QCOMPARE(call(QStringLiteral("execute path"), QStringLiteral("delete from t"), path()),
             QStringList(QStringLiteral("true")));
}

void test_database_helpers::connections_left_behind()
{
    const auto names = [] { return QSqlDatabase::connectionNames().size(); };
    const qsizetype before = names();
    call(QStringLiteral("list path"), QStringLiteral("select a from t"), path());
    call(QStringLiteral("list path"), missing_table, path());
    QCOMPARE(names(), before);
    call(QStringLiteral("execute path"), QStringLiteral("select 1"), path());
    const QString name = QStringLiteral("static bool plugin_static_function::execute_db_command_by_dbpath(QString, "
                                        "QString, QString)void tester::asks()");
    QVERIFY(QSqlDatabase::contains(name));
    QVERIFY(!QSqlDatabase::database(name, false).isOpen());
}

QTEST_MAIN(test_database_helpers)
#include "test_database_helpers.moc"
