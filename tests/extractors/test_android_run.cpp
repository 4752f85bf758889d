/// Whole runs of the Android extractor: databases in, rows out.
#include "tests/support/android_test.h"

#include <QDir>
#include <QDirIterator>
#include <QTest>

class test_android_run : public android_test
{
    Q_OBJECT

private Q_SLOTS:
    void init() { session = std::make_unique<plugin_session>(QStringLiteral("androidOS")); }
    void mails();
    void last_listed_body_file_counts();
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

void test_android_run::last_listed_body_file_counts()
{
    QVERIFY(provider(sql({"insert into Message(_id) values(12)"})));
    for (const char *name : {"12.html", "12.txt", "12.b", "12.a"})
        write_file(source("f/body/0/") + QLatin1StringView(name), "x");
    extract("messages");
    QString last;
    for (QDirIterator listed(source("f/body/0"), QDir::Files); listed.hasNext();)
        last = QFileInfo(listed.next()).fileName();
    QCOMPARE(rows("select snippet_file from messages"), QStringList(u"/apps/com.google.android.gm/f/body/0/" + last));
}

/// Text keys, as a column without affinity compares them; no index, no cache directory, no bodies.
void test_android_run::mails_without_index_or_cache()
{
    QVERIFY(run_sql(
        source("db/EmailProvider.db"),
        sql({"create table Account(emailAddress)", "create table Mailbox(_id text, displayName)",
             ("create table Message(_id, displayName, timeStamp, subject, flagAttachment, messageId, mailboxKey, "
              "fromList, toList, ccList, bccList, replyToList, snippet, flagSeen)"),
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

/// XML that keeps a reader busy far longer than its size suggests.
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

QTEST_MAIN(test_android_run)
#include "test_android_run.moc"
