/// The plug-in object: its contract with hosts, its dispatch, its result database.
#include "common/plugin_static_function.h"
#include "tests/support/support.h"

#include <QDir>
#include <QLibrary>
#include <QSignalSpy>
#include <QTest>

#include <bit>

namespace {

/// The slot of a virtual function, from its pointer to member (Itanium C++ ABI: offset into the table, plus one on
/// x86-64; the offset itself on arm64, where the marker is elsewhere).
template <class Function>
std::ptrdiff_t slot_of(Function function)
{
    struct parts
    {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjustment;
    };
#if defined(Q_PROCESSOR_ARM)
    return std::bit_cast<parts>(function).pointer / std::ptrdiff_t(sizeof(void *));
#else
    return (std::bit_cast<parts>(function).pointer - 1) / std::ptrdiff_t(sizeof(void *));
#endif
}

} // namespace

class test_plugin : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slots_of_the_contract();
    void loaded_as_a_host_loads_it();
    void dispatch_data();
    void dispatch();
    void signals_of_a_run_data();
    void signals_of_a_run();
    void schema();
    void clearing_data();
    void clearing();
};

void test_plugin::slots_of_the_contract()
{
    const std::ptrdiff_t in_order[] = {
        slot_of(&gmail::pub_set_engine_type),
        slot_of(&gmail::pub_get_artifact_name),
        slot_of(&gmail::pub_set_essentials),
        slot_of(&gmail::pub_set_source_count),
        slot_of(&gmail::pub_set_ios_uid_backup_pointer),
        slot_of(&gmail::pub_set_desktop_info),
        slot_of(&gmail::pub_set_general_info),
        slot_of(&gmail::pub_set_source_info),
        slot_of(&gmail::pub_set_essential_for_talvo_bench_extraction),
        slot_of(&gmail::pub_set_result_directory),
        slot_of(&gmail::pub_create_db_tables),
        slot_of(&gmail::pub_set_clear_db),
        slot_of(&gmail::pub_cancel_extraction),
        slot_of(&gmail::pub_find_source_file),
        slot_of(&gmail::pub_set_extended_attributes_list),
        slot_of(&gmail::pub_extract_artifacts),
        slot_of(&gmail::pub_generate_chat_html_pages),
        slot_of(&gmail::pub_remove_temporary_asthetics),
    };
    // The last slot that QFrame itself has; ours follow it without a gap.
    struct frame : QFrame
    {
        virtual void behind_the_last() {}
    };
    QCOMPARE(in_order[0], slot_of(&frame::behind_the_last));
    for (std::size_t i = 1; i < std::size(in_order); ++i)
        QCOMPARE(in_order[i], in_order[0] + std::ptrdiff_t(i));
}

void test_plugin::loaded_as_a_host_loads_it()
{
    QLibrary library(QStringLiteral(GMAIL_LIBRARY));
    const auto create_object = reinterpret_cast<gmail *(*)()>(library.resolve("create_object"));
    QVERIFY2(create_object, qPrintable(library.errorString()));
    const std::unique_ptr<gmail> loaded(create_object());
    QCOMPARE(loaded->pub_get_artifact_name(), QStringLiteral("Gmail"));
    QCOMPARE(loaded->parent(), nullptr);
    QCOMPARE(loaded->objectName(), QStringLiteral("gmail"));
    QCOMPARE(loaded->windowTitle(), QStringLiteral("Frame"));
    QCOMPARE(loaded->size(), QSize(400, 300));
    QCOMPARE(loaded->frameStyle(), int(QFrame::StyledPanel) | int(QFrame::Raised));
    QSignalSpy records(loaded.get(), SIGNAL(signal_extracted_records_of_plugin_overall(qint64)));
    loaded->pub_extract_artifacts();
    QCOMPARE(records.count(), 2);
    QVERIFY(library.resolve("_ZN5gmail18pub_set_essentialsEv") == nullptr); // hidden, like all but the entry point
}

void test_plugin::dispatch_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QStringList>("lines");
    const QString find = QStringLiteral("gmail::pub_find_source_file: ");
    const QString extract = QStringLiteral("gmail::pub_extract_artifacts: ");
    const QString unknown =
        QStringLiteral("------FAILED------- supported os scheme internal not matched, received os scheme "
                       "internal =  %1, plugin name is Gmail");
    const QString start = extract + u"[pub_extract_artifacts] - START";
    const QString end = extract + u"[pub_extract_artifacts] - END";
    QTest::newRow("macOS") << "macOS" << QStringList({start, end});
    QTest::newRow("iOS_UID") << "iOS_UID"
                             << QStringList(
                                    {QStringLiteral("gmail_ios_uid::find_source_file: [find_source_file] Starts"),
                                     QStringLiteral("gmail_ios_uid::find_source_file: [find_source_file] Ends"), start,
                                     end});
    QTest::newRow("winOS")
        << "winOS"
        << QStringList({QStringLiteral("gmail_winos::find_source_file: [find_source_file]---starts"),
                        QStringLiteral("gmail_winos::find_source_file: [find_source_file]---ends"), start,
                        QStringLiteral("gmail_winos::extract_plugin_artifacts: [extract_plugin_artifacts]---starts"),
                        QStringLiteral("gmail_winos::extract_plugin_artifacts: [extract_plugin_artifacts]---ends"),
                        end});
    for (const QString &scheme : {QStringLiteral("macos"), QString()})
        QTest::newRow(qPrintable(u"unknown: " + scheme))
            << scheme << QStringList({find + unknown.arg(scheme), start, extract + unknown.arg(scheme), end});
}

void test_plugin::dispatch()
{
    QFETCH(QString, scheme);
    plugin_session session(scheme);
    session.prepare(plugin_static_function::system_account_QList.isEmpty() ? QStringList(QStringLiteral("messages"))
                                                                           : QStringList());
    const log_capture log;
    const QSignalSpy records(&session.plugin, SIGNAL(signal_extracted_records_of_plugin_overall(qint64)));
    session.plugin.slot_extracted_records_of_plugin(7); // as after an earlier run
    session.extract();
    QTEST(log.lines(), "lines");
    QCOMPARE(records.at(1).first().toLongLong(), 0);
    QCOMPARE(records.last().first().toLongLong(), 7);
    QVERIFY(rows_of(session.database(), QStringLiteral("select 1 from messages")).isEmpty());
}

/// What docs/host_contract.md promises: r is a total of rows, t one of tables.
void test_plugin::signals_of_a_run_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QString>("tables");
    QTest::addColumn<int>("engine");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second"); // run of the same object
    QTest::newRow("Android") << "androidOS"
                             << "cookies messages" << 0 << "r0 r1 t1 r1 t2 r1 r1"
                             << "r0 r2 t3 r2 t4 r2 r2";
    QTest::newRow("Takeout") << "gTakeoutOS"
                             << "messages cookies" << 0 << "r0 r1 t1 r1 r1"
                             << "r0 r2 t2 r2 r2";
    QTest::newRow("Takeout without messages") << "gTakeoutOS"
                                              << "cookies" << 0 << "r0 t1 r0 r0"
                                              << "r0 t2 r0 r0";
    QTest::newRow("another scheme") << "macOS"
                                    << "messages" << 0 << "r0 r0 r0"
                                    << "r0 r0 r0";
    QTest::newRow("another engine") << "androidOS"
                                    << "messages" << 1 << "r0 r0 r0"
                                    << "r0 r0 r0";
    QTest::newRow("unknown scheme") << "AndroidOS"
                                    << "messages" << 0 << "r0 r0"
                                    << "r0 r0";
    QTest::newRow("cancelled before") << "androidOS"
                                      << "messages" << -1 << "r0"
                                      << "r0";
    QTest::newRow("root without a slash") << "no slash"
                                          << "messages" << 0 << "r0 r0 t1 r0 r0"
                                          << "r0 r0 t2 r0 r0";
}

void test_plugin::signals_of_a_run()
{
    QFETCH(QString, scheme);
    QFETCH(QString, tables);
    QFETCH(int, engine);
    const bool has_slash = scheme != u"no slash";
    plugin_session session(has_slash ? scheme : QStringLiteral("androidOS"));
    write_file(session.source(QStringLiteral("Mail/a.mbox")), "From a\nx\nFrom b\n");
    QVERIFY(run_sql(session.source(QStringLiteral("apps/com.google.android.gm/db/mailstore.a.db")),
                    {QStringLiteral("create table messages(_id, subject, messageId, fromAddress, toAddresses, "
                                    "ccAddresses, bccAddresses, replyToAddresses, snippet, dateSentMs, "
                                    "dateReceivedMs, permalink, bodyCompressed)"),
                     QStringLiteral("insert into messages(_id) values(1)")}));
    if (!has_slash)
        session.source_info.virtual_source_path.chop(1);
    session.prepare(tables.split(u' '));
    session.plugin.pub_set_engine_type(engine);
    QStringList sent;
    connect(&session.plugin, &gmail::signal_extracted_records_of_plugin_overall, this,
            [&sent](qint64 total) { sent.append(u'r' + QString::number(total)); });
    connect(&session.plugin, &gmail::signal_tab_processed_of_plugin_overall, this,
            [&sent](int total) { sent.append(u't' + QString::number(total)); });
    const log_capture log;
    if (engine < 0)
        session.plugin.pub_cancel_extraction();
    session.extract();
    QTEST(sent.join(u' '), "first");
    QCOMPARE(log.lines_with(QStringLiteral("FAILED")).isEmpty(), scheme != u"AndroidOS");
    sent.clear();
    session.extract();
    QTEST(sent.join(u' '), "second");
}

void test_plugin::schema()
{
    plugin_session session(QStringLiteral("macOS"));
    session.prepare({});
    QCOMPARE(QDir(session.result()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList({QStringLiteral("Attachments"), QStringLiteral("Gmail.sqlite"), QStringLiteral("tmp")}));
    QCOMPARE(rows_of(session.database(), QStringLiteral("select sql from sqlite_master order by rowid")).join(u'\n') +
                 u'\n',
             QString::fromLatin1(read_file(QStringLiteral(SOURCE_TREE "/tests/data/result_schema.sql"))));

    QVERIFY(run_sql(session.database(),
                    {QStringLiteral("insert into cookies(name) values('kept')"), QStringLiteral("drop table mailbox"),
                     QStringLiteral("create view mailbox as select 1")}));
    const log_capture log;
    session.plugin.pub_create_db_tables(); // over an existing view
    QCOMPARE(rows_of(session.database(), QStringLiteral("select name from cookies")),
             QStringList(QStringLiteral("kept")));
    QCOMPARE(log.lines_with(QStringLiteral("FAILED")).size(), 0); // a view of that name is left alone
    session.plugin.pub_remove_temporary_asthetics();
    QVERIFY(!QFile::exists(session.result(QStringLiteral("tmp"))));
}

void test_plugin::clearing_data()
{
    QTest::addColumn<int>("engine");
    QTest::addColumn<QStringList>("tables");
    QTest::addColumn<QString>("left"); // rows in messages and cookies
    QTest::addColumn<int>("failures");
    QTest::newRow("chosen tables only") << 0 << QStringList(QStringLiteral("messages")) << "0|1" << 0;
    QTest::newRow("no table of that name")
        << 0 << QStringList({QStringLiteral("x"), QStringLiteral("cookies")}) << "1|0" << 1;
    QTest::newRow("nothing chosen") << 0 << QStringList() << "1|1" << 0;
    QTest::newRow("another engine") << 1 << QStringList(QStringLiteral("messages")) << "1|1" << 0;
}

void test_plugin::clearing()
{
    QFETCH(int, engine);
    QFETCH(QStringList, tables);
    plugin_session session(QStringLiteral("macOS"));
    session.prepare(tables);
    QVERIFY(run_sql(session.database(), {QStringLiteral("insert into messages(id) values(1)"),
                                         QStringLiteral("insert into cookies(name) values(1)")}));
    session.plugin.pub_set_engine_type(engine);
    const QString counts = QStringLiteral("select (select count(*) from messages), (select count(*) from cookies)");
    session.plugin.pub_set_clear_db(false);
    QCOMPARE(rows_of(session.database(), counts), QStringList(QStringLiteral("1|1")));
    const log_capture log;
    session.plugin.pub_set_clear_db(true);
    QFETCH(QString, left);
    QCOMPARE(rows_of(session.database(), counts), QStringList(left));
    QTEST(int(log.lines_with(QStringLiteral("FAILED")).size()), "failures");

    QFile::remove(session.database());
    session.plugin.pub_set_clear_db(true);
    QVERIFY(log.lines().last().endsWith(u"gmail::clear_db_tables: [clear_db_tables]DB not exists and so returning..."));
}

QTEST_MAIN(test_plugin)
#include "test_plugin.moc"
