/// Android sources that cannot be read, or only in part: the remaining rows, log lines, and unchanged evidence.
#include "tests/support/android_test.h"

#include <QDir>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <sys/stat.h>

class test_android_failures : public android_test
{
    Q_OBJECT

private Q_SLOTS:
    void init() { session = std::make_unique<plugin_session>(QStringLiteral("androidOS")); }
    void write_ahead_rows_and_untouched_evidence();
    void failures_data();
    void failures();
    void ordinary_tables_only_data();
    void ordinary_tables_only();
    void look_up_in_a_view();
    void damaged_look_up_data();
    void damaged_look_up();
    void starts_before_the_copy();
    void links_and_pipes();
    void unopenable_result();
    void failed_inserts();
    void cancelled();
};

void test_android_failures::write_ahead_rows_and_untouched_evidence()
{
    const QString live = session->result(QStringLiteral("../live.db"));
    QVERIFY(run_sql(live, {QStringLiteral("pragma journal_mode = wal")}));
    {
        // Copied while the writer is at work: the rows are only in the log.
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("live"));
        db.setDatabaseName(live);
        QVERIFY(db.open());
        for (const QString &statement : provider_tables + sql({"insert into Message(subject) values('in the log')"}))
            QVERIFY(QSqlQuery(db).exec(statement));
        for (const char *suffix : {"", "-wal", "-shm"})
            write_file(source("db/EmailProvider.db") + QLatin1StringView(suffix),
                       read_file(live + QLatin1StringView(suffix)));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("live"));
    const QStringList names = files_in(source("db"));
    QList<QByteArray> before;
    for (const QString &name : names)
        before.append(read_file(source("db/") + name));
    session->prepare({QStringLiteral("messages"), QStringLiteral("mailbox")});
    session->extract();
    QCOMPARE(rows("select subject from messages"), QStringList(QStringLiteral("in the log")));
    QCOMPARE(files_in(source("db")), names);
    for (qsizetype i = 0; i < names.size(); ++i)
        QVERIFY(read_file(source("db/") + names.at(i)) == before.at(i));
    QVERIFY(QDir(session->result(QStringLiteral("tmp"))).isEmpty());
}

void test_android_failures::failures_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<QStringList>(
        "lines"); // of the log, where FAILED or the text after it; COPY stands for the working copy
    const QString mails = QStringLiteral("gmail_androidos::extract_gm_mails: ");
    const QString select =
        QStringLiteral("Select _id, displayName,timeStamp,subject,flagAttachment,messageId, mailboxKey,fromList, "
                       "toList,ccList,bccList,replyToList,snippet,flagSeen from Message");
    const QString no_query = QStringLiteral("No query Unable to fetch row");
    const QStringList mails_failed = {mails + u" Select query ---FAILED---COPY", mails + no_query, mails + select};
    const QString mailbox = QStringLiteral("gmail_androidos::get_mailbox_name: ");
    const QString mismatch = QStringLiteral("Parameter count mismatch");
    QTest::newRow("no Message table") << "drop table Message" << mails_failed;
    QTest::newRow("missing column") << "alter table Message rename column snippet to other" << mails_failed;
    QTest::newRow("no Mailbox table, logged once")
        << "drop table Mailbox"
        << QStringList({mailbox + u" Select query ---FAILED---", mailbox + mismatch,
                        mailbox + u"select displayName from Mailbox where _id = :0"});
    QTest::newRow("empty file") << "FILE" << mails_failed;
    QTest::newRow("no database") << "FILEthis is not a database, but it is longer than a header would be"
                                 << mails_failed;
}

void test_android_failures::failures()
{
    QFETCH(QString, what);
    QVERIFY(provider(sql({"insert into Message(_id, mailboxKey) values(1, 1), (2, 2), (3, 1)",
                          "insert into Account values(1, 'N', 'a@x', 'S', null)"})));
    if (what.startsWith(u"FILE"))
        write_file(source("db/EmailProvider.db"), what.sliced(4).toUtf8().repeated(what.size() > 4 ? 100 : 0));
    else
        QVERIFY(run_sql(source("db/EmailProvider.db"), {what}));
    write_file(source("sp/warm_accounts_preferences.xml"), "<s name='lastly_warmed_up_accounts'>a@x</s>");
    const log_capture log;
    extract("messages");
    QStringList logged;
    for (const QString &line : log.lines()) {
        if (line.contains(u"FAILED") || logged.size() % 3 != 0)
            logged.append(line);
    }
    QFETCH(QStringList, lines);
    QCOMPARE(logged,
             lines.replaceInStrings(QStringLiteral("COPY"), session->result(QStringLiteral("tmp/EmailProvider.db"))));
    QVERIFY(QDir(session->result(QStringLiteral("tmp"))).isEmpty());

    // Other tables are not affected, unless the file is not a database at all.
    extract("accounts");
    QCOMPARE(rows("select count(*) from accounts"),
             QStringList(what.startsWith(u"FILE") ? QStringLiteral("0") : QStringLiteral("1")));
}

/// Ordinary tables are read; anything in a table's place is refused before SQLite works on it.
void test_android_failures::ordinary_tables_only_data()
{
    QTest::addColumn<QStringList>("instead"); // of Message
    QTest::addColumn<QString>("refusal");     // none: its row is read
    const QString columns =
        QStringLiteral("_id, displayName, timeStamp, subject, flagAttachment, messageId, mailboxKey, "
                       "fromList, toList, ccList, bccList, replyToList, flagSeen, ");
    const QString table = QString(u"create table Message(" + columns);
    const QString row = QStringLiteral("insert into Message(_id) values(1)");
    const QString not_ordinary = QStringLiteral("refused: Message is not an ordinary table");
    const auto add = [](const char *name, const QStringList &instead, const QString &refusal = {}) {
        QTest::newRow(name) << instead << refusal;
    };
    add("view", {QStringLiteral("create view Message as select * from O")}, not_ordinary);
    add("view without end",
        {QStringLiteral("create view Message as with recursive n(i) as (select 1 union all select "
                        "i + 1 from n) select O.* from n, O where i < 0")},
        not_ordinary);
    QStringList doubling = {QStringLiteral("create view v0 as select * from O")};
    for (int i = 1; i <= 40; ++i)
        doubling.append(
            QStringLiteral("create view v%1 as select * from v%2 union all select * from v%2").arg(i).arg(i - 1));
    add("views that double", doubling + QStringList(QStringLiteral("create view message as select * from v40")),
        not_ordinary);
    add("virtual table", {QString(u"create virtual table Message using fts5(" + columns + u"snippet)")}, not_ordinary);
    const QString generated = QStringLiteral("refused: snippet of Message is generated when it is read");
    add("selected column generated on reading", {table + u"snippet as (printf('%.*c', 1e5, 'x')))", row}, generated);
    add("stored generated column", {table + u"snippet as ('s') stored)", row});
    add("another column generated on reading", {table + u"snippet, snippets as (1), id as (2))", row});
    add("a trigger of the same name, an index, comments",
        {table + u"snippet /* as ( */, x check(x like 'match(%')) -- view\n", row,
         QStringLiteral("create index MessageIndex on Message(snippet)"),
         QStringLiteral("create trigger Message after insert on Message begin select 1; end")});
    add("without row numbers", {QString(table + u"snippet, primary key(_id)) without rowid"), row});
}

void test_android_failures::ordinary_tables_only()
{
    QFETCH(QStringList, instead);
    QFETCH(QString, refusal);
    QVERIFY(provider(sql(
        {"insert into Mailbox(_id) values(1)", "alter table Message rename to O", "insert into O(_id) values(1)"})));
    QVERIFY(run_sql(source("db/EmailProvider.db"), instead));
    const log_capture log;
    extract("messages");
    QCOMPARE(rows("select count(*) from messages"),
             QStringList(refusal.isEmpty() ? QStringLiteral("1") : QStringLiteral("0")));
    QCOMPARE(log.lines_with(QStringLiteral("refused: ")),
             refusal.isEmpty() ? QStringList() : QStringList(u"gmail_androidos::extract_gm_mails: " + refusal));
}

/// Look-ups pass the same check, and report it once for all rows.
void test_android_failures::look_up_in_a_view()
{
    QVERIFY(provider(sql({"insert into Message(_id) values(1), (2)", "alter table Attachment rename to A",
                          "create view Attachment as select * from A"})));
    const log_capture log;
    extract("messages");
    QCOMPARE(rows("select count(*) from messages"), QStringList(QStringLiteral("2")));
    QCOMPARE(log.lines_with(QStringLiteral("FAILED")).size(), 1);
    QCOMPARE(log.lines_with(QStringLiteral("refused: ")),
             QStringList(QStringLiteral("gmail_androidos::get_mail_attachments_detail: refused: Attachment is not an "
                                        "ordinary table")));
}

/// A damaged page of a table that is only used for look-ups: rows found are kept, missing ones are reported once.
void test_android_failures::damaged_look_up_data()
{
    QTest::addColumn<QString>("index");
    QTest::newRow("walked") << "select 1";
    QTest::newRow("by index") << "create index i on Attachment(messageKey)";
}

void test_android_failures::damaged_look_up()
{
    QFETCH(QString, index);
    const QString path = source("db/EmailProvider.db");
    QVERIFY(run_sql(path, sql({"pragma page_size = 1024"})) && provider({index}));
    QVERIFY(run_sql(path, sql({"with recursive n(i) as (select 1 union all select i + 1 from n where i < 200) "
                               "insert into Message(_id) select i from n",
                               "insert into Attachment(fileName, messageKey) select printf('%0200d', _id), _id from "
                               "Message"})));
    damage_page_with(path, "00100");
    const log_capture log;
    extract("messages");
    QCOMPARE(rows("select count(*) from messages"), QStringList(QStringLiteral("200")));
    QVERIFY(rows("select count(*) from messages where email_attachments <> ''").first().toInt() < 200);
    const QString me = QStringLiteral("gmail_androidos::get_mail_attachments_detail: ");
    QCOMPARE(log.lines_with(QStringLiteral("FAILED")), QStringList(me + u" Select query ---FAILED---"));
    QCOMPARE(log.lines_with(QStringLiteral("malformed")).size(), 1);
}

void test_android_failures::links_and_pipes()
{
    QVERIFY(provider(sql({"insert into Message(_id) values(1)", "insert into Account(emailAddress) values('a@x')"})));
    const QString outside = session->result(QStringLiteral("../../../outside/"));
    write_file(outside + QLatin1StringView("1.html"), "x");
    QVERIFY(QFile::copy(source("db/EmailProvider.db"), outside + QLatin1StringView("Cookies")));
    QDir().mkpath(source("f/body/0"));
    QDir().mkpath(source("r/app_webview"));
    QDir().mkpath(source("sp"));
    QVERIFY(QFile::link(outside + QLatin1StringView("1.html"), source("f/body/0/1.html")));
    QVERIFY(QFile::link(outside + QLatin1StringView("Cookies"), source("r/app_webview/Cookies")));
    QCOMPARE(::mkfifo(QFile::encodeName(source("sp/warm_accounts_preferences.xml")).constData(), 0600), 0);
    const log_capture log;
    session->prepare({QStringLiteral("messages"), QStringLiteral("accounts"), QStringLiteral("cookies")});
    session->extract(); // does not wait for the pipe
    QCOMPARE(rows("select snippet_file from messages"), QStringList(QString()));
    QCOMPARE(log.lines_with(QStringLiteral("[link leads out of the source] ----FAILED---- :")).size(), 2);
}

void test_android_failures::starts_before_the_copy()
{
    write_file(source("db/EmailProvider.db"), "x");
    session->prepare({QStringLiteral("mailbox")});
    QDir(session->result(QStringLiteral("tmp"))).removeRecursively();
    write_file(session->result(QStringLiteral("tmp")), "not a directory");
    const log_capture log;
    session->extract();
    QCOMPARE(log.lines_with(QStringLiteral("extract_gm_mailboxes")).size(), 1);
    const QStringList lines = log.lines();
    QVERIFY(lines.indexOf(QStringLiteral("gmail_androidos::extract_gm_mailboxes: Starts")) <
            lines.indexOf(lines.filter(QStringLiteral("[copy of source file]")).value(0)));
}

void test_android_failures::unopenable_result()
{
    QVERIFY(provider({}));
    session->prepare({QStringLiteral("mailbox")});
    QFile::remove(session->database());
    QDir().mkpath(session->database());
    const log_capture log;
    session->extract();
    const QString me = QStringLiteral("gmail_androidos::extract_gm_mailboxes: ");
    QCOMPARE(log.lines_with(me),
             QStringList({me + u"Starts", me + u" Destination Db opening ---FAILED--- " + session->database(),
                          me + u"unable to open database file Error opening database", me + session->database()}));
}

void test_android_failures::failed_inserts()
{
    QVERIFY(provider(sql({"insert into Mailbox(displayName) values('a'), ('bad'), ('c')"})));
    session->prepare({QStringLiteral("mailbox")});
    QVERIFY(run_sql(
        session->database(),
        sql({"create trigger t before insert on mailbox when new.display_name = 'bad' begin select raise(abort, "
             "'no'); end"})));
    const log_capture log;
    session->extract();
    QCOMPARE(rows("select display_name from mailbox"), QStringList({QStringLiteral("a"), QStringLiteral("c")}));
    const QString me = QStringLiteral("gmail_androidos::extract_gm_mailboxes: ");
    const QStringList lines = log.lines();
    const qsizetype at = lines.indexOf(me + u"Insertion Query -----FAILED-----" + session->database());
    QVERIFY(at > 0);
    QCOMPARE(lines.at(at + 1), QString(me + u"no Unable to fetch row"));
    QVERIFY(lines.at(at + 2).startsWith(
        me + u"insert into mailbox(bookmark, display_name, server_id, sync_time ,last_touched_time,"));
}

/// The rows before a cancel are kept; the closing lines are left out; nothing is left in the temporary directory. The
/// first announcement of rows comes after a second: a source that is read sooner is made larger.
void test_android_failures::cancelled()
{
    qint64 announced = 0;
    qint64 mails = 100000;
    QStringList lines;
    do {
        init();
        mails *= 2;
        announced = 0;
        QVERIFY(mails < 100'000'000);
        const QString fill =
            QStringLiteral("with recursive n(i) as (select 1 union all select i + 1 from n where i < %1) "
                           "insert into Message(_id, subject) select i, i from n");
        QVERIFY(provider({fill.arg(mails)}));
        session->prepare({QStringLiteral("messages"), QStringLiteral("mailbox")});
        connect(&session->plugin, &gmail::signal_extracted_records_of_plugin_overall, this, [&](qint64 total) {
            if (total == 0 || announced != 0)
                return;
            announced = total;
            QCOMPARE(rows("select count(*) from messages"), QStringList(QString::number(total)));
            session->plugin.pub_cancel_extraction();
        });
        const log_capture log;
        session->extract();
        lines = log.lines_with(QStringLiteral("extract_gm_mails:  Ends"));
    } while (announced == mails);
    QCOMPARE(rows("select count(*) from messages"), QStringList(QString::number(announced)));
    QVERIFY(announced > 0 && lines.isEmpty());
    QVERIFY(QDir(session->result(QStringLiteral("tmp"))).isEmpty());
}

QTEST_MAIN(test_android_failures)
#include "test_android_failures.moc"
