/// Whole runs of the Android extractor: databases in, rows and log lines out.
#include "common/plugin_static_function.h"
#include "tests/support/support.h"

#include <QDir>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <sys/stat.h>

namespace {

const QString application = QStringLiteral("apps/com.google.android.gm/");

QStringList sql(std::initializer_list<const char *> statements)
{
    QStringList list;
    for (const char *statement : statements)
        list.append(QString::fromUtf8(statement));
    return list;
}

const QStringList provider_tables = sql({
    "create table Account(_id integer primary key, displayName, emailAddress, senderName, ringtoneUri)",
    "create table Mailbox(_id integer primary key, displayName, serverId, syncTime, lastTouchedTime, messageCount, "
    "unreadCount, totalCount)",
    "create table Message(_id integer primary key, displayName, timeStamp, subject, flagAttachment, messageId, "
    "mailboxKey integer, fromList, toList, ccList, bccList, replyToList, snippet, flagSeen)",
    "create table Attachment(_id integer primary key, fileName, mimeType, size, contentId, contentUri, "
    "messageKey integer)",
});

const QStringList store_tables = sql({
    "create table messages(_id integer primary key, subject, messageId, fromAddress, toAddresses, ccAddresses, "
    "bccAddresses, replyToAddresses, snippet, dateSentMs, dateReceivedMs, permalink, bodyCompressed)",
    "create table attachments(_id integer primary key, filename, mimeType, size, messages_messageId)",
});

constexpr char cookies_table[] = "create table cookies(host_key, name, value, path, creation_utc, expires_utc, "
                                 "last_access_utc, is_secure, is_httponly, has_expires, is_persistent)";

} // namespace

class test_android_run : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { session = std::make_unique<plugin_session>(QStringLiteral("androidOS")); }
    void mails();
    void mails_without_index_or_cache();
    void odd_values_data();
    void odd_values();
    void mail_stores();
    void attachments();
    void mailboxes_and_cookies();
    void accounts_data();
    void accounts();
    void costly_preferences_data();
    void costly_preferences();
    void source_files_are_found_where_they_are();
    void write_ahead_rows_and_untouched_evidence();
    void failures_data();
    void failures();
    void views_and_made_columns_data();
    void views_and_made_columns();
    void links_and_pipes();
    void unopenable_result();
    void failed_inserts();
    void cancelled();

private:
    QString source(const char *relative) const { return session->source(application + QLatin1StringView(relative)); }
    bool provider(const QStringList &statements)
    {
        return run_sql(source("db/EmailProvider.db"), provider_tables + statements);
    }
    void extract(const char *table)
    {
        session->prepare({QString::fromLatin1(table)});
        session->extract();
    }
    QStringList rows(const char *query) const { return rows_of(session->database(), QString::fromLatin1(query)); }

    std::unique_ptr<plugin_session> session;
};

void test_android_run::mails()
{
    QVERIFY(provider(
        sql({"insert into Account values(1, 'n', 'me@x', 's', 'r'), (2, 'n', 'other@x', 's', 'r')",
             "insert into Mailbox(_id, displayName) values(1, 'Inbox'), (2, null)",
             "insert into Message values(12, 'D', 1700000000999, 'S', 1, 'mid', 1, 'f', 't', 'c', 'b', 'r', 'sn', 1)",
             "insert into Message values(123, null, null, '', 'true', null, 2, null, '', null, null, null, null, 0)",
             "insert into Message(_id, mailboxKey) values(124, 7)",
             "insert into Attachment(_id, fileName, messageKey) values(5, 'a', 12), (6, 'b', 12), (7, null, 999)"})));
    QDir().mkpath(source("db/1.db_att"));
    for (const char *name : {"12.html", "123.txt", "deep/124.x.y", ".12.hidden"})
        write_file(source("f/body/0/") + QLatin1StringView(name), "x");
    extract("messages");
    const QString constant = QStringLiteral("display|Source1|/apps/com.google.android.gm/db/EmailProvider.db");
    const QString att = QStringLiteral("/apps/com.google.android.gm/db/1.db_att/");
    const QString body = QStringLiteral("/apps/com.google.android.gm/f/body/0/");
    QCOMPARE(
        rows("select display_name, timestamp, subject, snippet, has_attachment, seen, mailbox, from_list, to_list, "
             "cc_list, "
             "bcc_list, reply_to_list, account_id, os_scheme_display, source_count_name, source_file from messages"),
        QStringList({u"D|1700000000|S|sn|YES|YES|Inbox|f|t|c|b|r|me@x|" + constant,
                     u"NULL|NULL||NULL|NO|NO|NULL|NULL||NULL|NULL|NULL|me@x|" + constant,
                     u"NULL|NULL|NULL|NULL|NO|NO||NULL|NULL|NULL|NULL|NULL|me@x|" + constant}));
    QCOMPARE(rows("select email_attachments, preview_file_path, export_file_paths, snippet_file from messages"),
             QStringList({u"File Name : a;File Path : " + att + u"5;;File Name : b;File Path : " + att + u"6|" + att +
                              u"5|" + att + u"5;++::++;" + att + u"6;++::++;" + body + u"12.html|" + body + u"12.html",
                          u"||" + body + u"123.txt|" + body + u"123.txt",
                          u"||" + body + u"deep/124.x.y|" + body + u"deep/124.x.y"}));
}

/// Text keys, as a column without affinity compares them; no index, no cache directory, no bodies.
void test_android_run::mails_without_index_or_cache()
{
    QVERIFY(run_sql(
        source("db/EmailProvider.db"),
        sql({"create table Account(emailAddress)", "create table Mailbox(_id text, displayName)",
             "create table Message(_id, displayName, timeStamp, subject, flagAttachment, messageId, mailboxKey, "
             "fromList, "
             "toList, ccList, bccList, replyToList, snippet, flagSeen)",
             "create table Attachment(_id, fileName, messageKey)",
             "insert into Mailbox values('05', 'five'), ('05', 'later')",
             "insert into Message(_id, mailboxKey) values('m', '05'), (4, 5)",
             "insert into Attachment values(1, 'text key', 'm'), (2, 'integer key', 4), (3, 'text digits', '4')"})));
    extract("messages");
    QCOMPARE(rows("select mailbox, email_attachments, export_file_paths, account_id from messages"),
             QStringList({QStringLiteral("five|File Name : text key;File Path : /1|/1|"),
                          QStringLiteral("|File Name : text digits;File Path : /3|/3|")}));
}

void test_android_run::odd_values_data()
{
    QTest::addColumn<QString>("value"); // in SQL
    QTest::addColumn<QString>("as_text");
    QTest::addColumn<QString>("as_seconds");
    QTest::addColumn<QString>("as_flag");
    const auto add = [](const char *value, const char *text, const char *seconds, const char *flag) {
        QTest::newRow(value) << QString::fromLatin1(value) << QString::fromUtf8(text) << QString::fromLatin1(seconds)
                             << QString::fromLatin1(flag);
    };
    add("null", "NULL", "NULL", "NO");
    add("''", "", "", "NO");
    add("'  '", "  ", "", "NO");
    add("1", "1", "0", "YES");
    add("'1'", "1", "0", "YES");
    add("1.0", "1", "0", "YES");
    add("' 1'", " 1", "0", "NO");
    add("'true'", "true", "0", "NO");
    add("999", "999", "0", "NO");
    add("-1999", "-1999", "-1", "NO");
    add("' 1700000000999 '", " 1700000000999 ", "1700000000", "NO");
    add("1.7e12", "1.7e+12", "0", "NO");
    add("9223372036854775807", "9223372036854775807", "9223372036854775", "NO");
    add("99999999999999999999", "1e+20", "0", "NO");
    add("x'4142'", "AB", "0", "NO");
    add("cast(x'41ff42' as text)",
        "A\xEF\xBF\xBD"
        "B",
        "0", "NO");
}

void test_android_run::odd_values()
{
    QFETCH(QString, value);
    QVERIFY(provider(
        {QStringLiteral("insert into Message(_id, subject, timeStamp, flagSeen) values(1, %1, %1, %1)").arg(value)}));
    extract("messages");
    QFETCH(QString, as_text);
    QFETCH(QString, as_seconds);
    QFETCH(QString, as_flag);
    QCOMPARE(rows("select subject, timestamp, seen from messages"),
             QStringList(as_text + u'|' + as_seconds + u'|' + as_flag));
    QVERIFY(rows("select typeof(subject) from messages").first() == (value == u"null" ? u"null" : u"text"));
}

void test_android_run::mail_stores()
{
    QVERIFY(run_sql(source("db/mailstore.a@x.db"),
                    store_tables + sql({"insert into messages values(1, 'S', 9, 'f', 't', 'c', 'b', 'r', 'sn', 999, "
                                        "1700000000500, 'p', x'00')",
                                        "insert into messages(_id) values(2)",
                                        "insert into attachments values(1, 'n', 'm', 7, 9)"})));
    QVERIFY(run_sql(source("db/sub/mailstore.mailstore.b.db.db"),
                    store_tables + sql({"insert into messages(subject) values('B')"})));
    QVERIFY(run_sql(source("db/mailstore.c.db"), sql({"create table other(x)"})));
    for (const char *name : {"db/mailstore.d.db-journal", "db/Mailstore.e.db", "db/mailstore-f.db"})
        QVERIFY(run_sql(source(name), store_tables + sql({"insert into messages(subject) values('not listed')"})));
    const log_capture log;
    extract("messages");
    QStringList found =
        rows("select account_id, subject, snippet, date_sent, date_received, from_list, to_list, cc_list, bcc_list, "
             "reply_to_list, permalink, source_file from messages");
    found.sort();
    QCOMPARE(
        found,
        QStringList(
            {QStringLiteral("a@x|NULL|NULL|NULL|NULL|NULL|NULL|NULL|NULL|NULL|NULL|/apps/com.google.android.gm/db/"
                            "mailstore.a@x.db"),
             QStringLiteral("a@x|S|sn|0|1700000000|f|t|c|b|r|p|/apps/com.google.android.gm/db/mailstore.a@x.db"),
             QStringLiteral("b.db|B|NULL|NULL|NULL|NULL|NULL|NULL|NULL|NULL|NULL|/apps/com.google.android.gm/db/sub/"
                            "mailstore.mailstore.b.db.db")}));
    QCOMPARE(log.lines_with(QStringLiteral(" Select query ---FAILED---")).size(), 1);
    QVERIFY(log.lines_with(QStringLiteral("extract_gm_other_account_mails:  Ends")).size() == 1);
    extract("attachments");
    QCOMPARE(rows("select file_name, mime_type, size, account_id, file_path, mail_subject from attachments"),
             QStringList(QStringLiteral("n|m|7|a@x|NULL|NULL")));
}

void test_android_run::attachments()
{
    QVERIFY(provider(sql({"insert into Account(emailAddress) values('me@x')",
                          "insert into Message(_id, subject, snippet) values(12, 'S', null)",
                          "insert into Attachment values(42, 'a.pdf', 'm', 100, 'ci', 'cu', 12), (43, null, null, "
                          "null, null, null, 99)"})));
    QDir().mkpath(source("db/1.db_att"));
    extract("attachments");
    const QString path = QStringLiteral("/apps/com.google.android.gm/db/1.db_att/");
    QCOMPARE(rows("select file_name, file_path, mime_type, size, mail_subject, mail_snippet, content_id, content_uri, "
                  "account_id, "
                  "preview_file_path, export_file_paths from attachments"),
             QStringList({u"a.pdf|" + path + u"42|m|100|S|NULL|ci|cu|me@x|" + path + u"42|" + path + u"42",
                          u"NULL|" + path + u"43|NULL|NULL|||NULL|NULL|me@x|" + path + u"43|" + path + u"43"}));
}

void test_android_run::mailboxes_and_cookies()
{
    QVERIFY(provider(sql({"insert into Account(emailAddress) values(null)",
                          "insert into Mailbox values(1, 'Inbox', 'I', 0, 1999, 3, 2, 4)"})));
    QVERIFY(run_sql(source("r/app_webview/Cookies"),
                    sql({cookies_table, "insert into cookies values('h', 'n', x'7661', '/', 13065041472000000, 0, "
                                        "1420452672, 1, 0, '1', null)"})));
    session->prepare({QStringLiteral("mailbox"), QStringLiteral("cookies")});
    session->extract();
    QCOMPARE(rows("select display_name, server_id, sync_time, last_touched_time, unread_count, message_count, "
                  "total_count, account_id from mailbox"),
             QStringList(QStringLiteral("Inbox|I|0|1|2|3|4|NULL")));
    QCOMPARE(rows("select host_key, name, value, path, creation_time, expire_time, last_access_time, is_secure, "
                  "is_http_only, has_expired, "
                  "is_persistent, source_file from cookies"),
             QStringList(QStringLiteral(
                 "h|n|va|/|1420567872||1420452672|YES|NO|YES|NO|/apps/com.google.android.gm/r/app_webview/Cookies")));
}

void test_android_run::accounts_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QStringList>("expected");
    const QString prefs = QStringLiteral("|/apps/com.google.android.gm/sp/warm_accounts_preferences.xml");
    const QString own = QStringLiteral("N|a@x|S|NULL|/apps/com.google.android.gm/db/EmailProvider.db");
    const auto other = [&prefs](const char *name) -> QString {
        return QLatin1StringView("|") + QLatin1StringView(name) + u"||" + prefs;
    };
    const QByteArray open = "<map><string name='lastly_warmed_up_accounts'>";
    QTest::newRow("own and another") << QByteArray(open + "a@x\n\n  b@x \n</string></map>")
                                     << QStringList({own, other("b@x")});
    QTest::newRow("own twice") << QByteArray(open + "a@x</string>" + open.mid(5) + "a@x</string></map>")
                               << QStringList({own, own});
    QTest::newRow("other case") << QByteArray(open + "A@x</string></map>") << QStringList(other("A@x"));
    QTest::newRow("child elements") << QByteArray(open + "<b>c</b>@x</string></map>") << QStringList(other("c@x"));
    QTest::newRow("broken off") << QByteArray(open + "a@x</string>" + open.mid(5) + "b@") << QStringList(own);
    QTest::newRow("another element") << QByteArray("<map><string name='x'>a@x</string></map>") << QStringList();
    QTest::newRow("no XML") << QByteArray("\0\1\2", 3) << QStringList();
}

void test_android_run::accounts()
{
    QFETCH(QByteArray, xml);
    QVERIFY(provider(sql({"insert into Account values(1, 'N', 'a@x', 'S', null)"})));
    write_file(source("sp/warm_accounts_preferences.xml"), xml);
    extract("accounts");
    QTEST(rows("select display_name, email_address, sender_name, ringtone_uri, source_file from accounts"), "expected");
}

/// What an XML reader works on far longer than its size makes expect.
void test_android_run::costly_preferences_data()
{
    QTest::addColumn<QByteArray>("in_front");
    QTest::addColumn<bool>("refused");
    const auto element_of = [](int attributes) {
        QByteArray element = "<map";
        for (int i = 0; i < attributes; ++i)
            element += " a" + QByteArray::number(i) + " = '>'";
        return QByteArray(element + '>');
    };
    QTest::newRow("one attribute more than is read") << element_of(4097) << true;
    QTest::newRow("as many as are read, twice")
        << QByteArray("<map>" + element_of(4096) + "</map>" + element_of(4096)) << false;
    QTest::newRow("prefixes in many elements")
        << QByteArray("<map>" + QByteArray("<p xmlns:a='v'/>").repeated(4097)) << true;
    QTest::newRow("attribute by default") << QByteArray("<!DOCTYPE map [<!ATTLIST map a CDATA 'v'>]><map>") << true;
    QTest::newRow("a text of equals signs and quotes")
        << QByteArray("<map>" + QByteArray("=x'").repeated(10000)) << false;
}

void test_android_run::costly_preferences()
{
    QFETCH(QByteArray, in_front);
    QFETCH(bool, refused);
    QVERIFY(provider(sql({"insert into Account values(1, 'N', 'a@x', 'S', null)"})));
    const QByteArray xml = in_front + "<s name='lastly_warmed_up_accounts'>a@x</s></map>";
    for (const QByteArray &file : {xml, QByteArray(reinterpret_cast<const char *>(QString::fromUtf8(xml).utf16()),
                                                   2 * QString::fromUtf8(xml).size())}) {
        write_file(source("sp/warm_accounts_preferences.xml"), file);
        const log_capture log;
        extract("accounts");
        QCOMPARE(log.lines_with(QStringLiteral("::extract_last_warmup_accounts: ")).size(), refused ? 1 : 0);
    }
    QCOMPARE(rows("select count(*) from accounts"), QStringList(QString::number(refused ? 0 : 2)));
}

void test_android_run::source_files_are_found_where_they_are()
{
    const log_capture log;
    session->prepare(QStringLiteral("messages attachments mailbox accounts cookies").split(u' '));
    session->extract(); // nothing there: no failure, no rows
    QVERIFY(log.lines_with(QStringLiteral("FAILED")).isEmpty());
    session->plugin.pub_set_engine_type(2);
    QVERIFY(provider(sql({"insert into Message(subject) values('S')"})));
    session->extract();
    QVERIFY(rows("select 1 from messages").isEmpty());
    session->plugin.pub_set_engine_type(0);
    session->extract();
    QFile::remove(source("db/EmailProvider.db"));
    session->plugin.pub_extract_artifacts(); // gone since it was found
    session->extract();
    QCOMPARE(rows("select subject from messages"), QStringList(QStringLiteral("S")));
    QVERIFY(log.lines_with(QStringLiteral("FAILED")).isEmpty());
}

void test_android_run::write_ahead_rows_and_untouched_evidence()
{
    const QString live = session->result(QStringLiteral("../live.db"));
    QVERIFY(run_sql(live, {QStringLiteral("pragma journal_mode = wal")}));
    {
        // Copied while the writer is at work: the rows are in the log only.
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

void test_android_run::failures_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<QStringList>(
        "lines"); // of the log, where FAILED or what follows it; COPY stands for the working copy
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
    QTest::newRow("no Mailbox table, told once")
        << "drop table Mailbox"
        << QStringList({mailbox + u" Select query ---FAILED---", mailbox + mismatch,
                        mailbox + u"select displayName from Mailbox where _id = :0"});
    QTest::newRow("empty file") << "FILE" << mails_failed;
    QTest::newRow("no database") << "FILEthis is not a database, but it is longer than a header would be"
                                 << mails_failed;
}

void test_android_run::failures()
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
    QStringList told;
    for (const QString &line : log.lines()) {
        if (line.contains(u"FAILED") || told.size() % 3 != 0)
            told.append(line);
    }
    QFETCH(QStringList, lines);
    QCOMPARE(told,
             lines.replaceInStrings(QStringLiteral("COPY"), session->result(QStringLiteral("tmp/EmailProvider.db"))));
    QVERIFY(QDir(session->result(QStringLiteral("tmp"))).isEmpty());

    // Other tables do not suffer, unless the file is no database at all.
    extract("accounts");
    QCOMPARE(rows("select count(*) from accounts"),
             QStringList(what.startsWith(u"FILE") ? QStringLiteral("0") : QStringLiteral("1")));
}

/// What stands in the place of a table is read when that surely comes to an end.
void test_android_run::views_and_made_columns_data()
{
    QTest::addColumn<QString>("instead");
    QTest::addColumn<QString>("rows_or_refusal");
    const char *const select_all = "Message as select o.* from O o";
    const auto add = [&](const char *name, const QString &definition, const char *expected) {
        QTest::newRow(name) << QString(u"create " + definition) << QString::fromUtf8(expected);
    };
    const auto view = [&](const char *more) {
        return QString(u"view " + QString::fromUtf8(select_all) + QString::fromUtf8(more));
    };
    add("plain view", view(""), "1");
    add("view with its order and a row found by key",
        view(" join Mailbox m on m.rowid = o.mailboxKey order by snippet"), "1");
    add("union", view(" union all select * from O"), "2");
    add("recursion",
        view(" where _id in (with recursive n(i) as (select 1 union all select i from n) select i from n)"),
        "refused: Message is a view that could run without end");
    add("loops in loops", view(", Account a, Account b, Account c where a.senderName + b.senderName"),
        "refused: Message is a view that could run without end");
    add("costly function", view(" where length(zeroblob(1000000000)) > 1"),
        "refused: Message is a view that could run without end");
    add("costly pattern", view(" where snippet like '%a%b%c%d%'"),
        "refused: Message is a view that could run without end");
    add("virtual table",
        QStringLiteral("virtual table Message using fts5(_id, displayName, timeStamp, subject, "
                       "flagAttachment, messageId, mailboxKey, fromList, toList, ccList, bccList, "
                       "replyToList, snippet, flagSeen)"),
        "refused: Message is a virtual table");
    add("column made when it is read",
        QStringLiteral(
            "table Message(_id, displayName, timeStamp, subject, flagAttachment, messageId, mailboxKey, "
            "fromList, toList, ccList, bccList, replyToList, flagSeen, snippet as (printf('%.*c', 1e9, 'x')))"),
        "refused: Message has generated columns");
}

void test_android_run::views_and_made_columns()
{
    QFETCH(QString, instead);
    QFETCH(QString, rows_or_refusal);
    QVERIFY(provider(sql({"insert into Message(_id, mailboxKey, snippet) values(1, 1, 's')",
                          "insert into Mailbox(_id) values(1)", "insert into Account(_id) values(1), (2)",
                          "insert into Attachment(_id, fileName, messageKey) values(5, 'f', 1)",
                          "alter table Attachment rename to A", "create view Attachment as select * from A",
                          "alter table Message rename to O"})));
    QVERIFY(run_sql(source("db/EmailProvider.db"), {instead}));
    const log_capture log;
    extract("messages");
    const bool refused = rows_or_refusal.startsWith(u"refused");
    QCOMPARE(rows("select count(*) from messages"), QStringList(refused ? QStringLiteral("0") : rows_or_refusal));
    QCOMPARE(log.lines_with(u"extract_gm_mails: " + rows_or_refusal).size(), refused ? 1 : 0);
    if (!refused) // the look-up goes through a view, too
        QCOMPARE(rows("select distinct email_attachments from messages"),
                 QStringList(QStringLiteral("File Name : f;File Path : /5")));
}

void test_android_run::links_and_pipes()
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

void test_android_run::unopenable_result()
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

void test_android_run::failed_inserts()
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

/// The rows before a cancel are kept; the closing lines are left out; nothing is left in the temporary directory.
void test_android_run::cancelled()
{
    QVERIFY(provider(sql({"with recursive n(i) as (select 1 union all select i + 1 from n where i < 200000) insert "
                          "into Message(_id, subject) "
                          "select i, i from n"})));
    session->prepare({QStringLiteral("messages"), QStringLiteral("mailbox")});
    qint64 announced = 0;
    connect(&session->plugin, &gmail::signal_extracted_records_of_plugin_overall, this, [&](qint64 total) {
        if (total == 0 || announced != 0)
            return;
        announced = total;
        QCOMPARE(rows("select count(*) from messages"), QStringList(QString::number(total)));
        session->plugin.pub_cancel_extraction();
    });
    const log_capture log;
    session->extract();
    QVERIFY(announced > 0 && announced < 200000);
    QCOMPARE(rows("select count(*) from messages"), QStringList(QString::number(announced)));
    QVERIFY(log.lines_with(QStringLiteral("extract_gm_mails:  Ends")).isEmpty());
    QVERIFY(QDir(session->result(QStringLiteral("tmp"))).isEmpty());
}

QTEST_MAIN(test_android_run)
#include "test_android_run.moc"
