/// Mails compared with the rows that the extraction made of them: whole runs over mail written for the purpose.
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>
#include <QVariant>

#include <memory>
#include <zlib.h>

namespace {

constexpr char separator[] = "From 1@xxx Mon Jan 01 10:11:12 +0000 2024\r\n";

struct mail_case
{
    const char *name;
    const char *mail;        ///< header and body; line feeds become CRLF, but for "bare line feeds"
    const char *differences; ///< "field kind" of each, sorted
    const char *words;       ///< that an explanation contains
};

#define HEADER "From: Ann Berg <a@x>\nTo: Ben <b@x>\nSubject: Plain\nDate: Mon, 1 Jan 2024 09:30:00 +0100\n"
#define TEXT_PART "Content-Type: text/plain; charset=utf-8\n\n"

constexpr mail_case cases[] = {
    {"the same", HEADER "Content-Type: text/plain\n\nOne paragraph.\n", "", ""},
    {"first paragraph", HEADER "Content-Type: text/plain\n\nOne.\n\nTwo.\n", "message_text shortened",
     "first paragraph"},
    {"no type", HEADER "\nText.\n", "message_text missing", "\"Content-Type: \""},
    {"type in small letters", HEADER "content-type: text/plain\n\nText.\n", "message_text missing", "written exactly"},
    {"quoted-printable",
     HEADER "Content-Transfer-Encoding: quoted-printable\nContent-Type: text/plain\n\nGr=C3=BC=C3=9Fe\n",
     "message_text undecoded", "Quoted-printable"},
    {"character set",
     HEADER "Content-Type: text/plain; charset=iso-8859-1\n\nGr\xfc\xdf"
            "e\n",
     "message_text undecoded", "not as iso-8859-1"},
    {"boundary of Gmail",
     HEADER "Content-Type: multipart/alternative; boundary=\"000000000000a\"\n\n--000000000000a\n" TEXT_PART
            "Text.\n\n--000000000000a--\n",
     "message_text missing", "\"------=\""},
    {"boundary that is found",
     HEADER "Content-Type: multipart/mixed; boundary=\"----=_a\"\n\n------=_a\n" TEXT_PART "Text.\n\n------=_a--\n", "",
     ""},
    {"no semicolon",
     HEADER "Content-Type: multipart/mixed; boundary=\"----=_a\"\n\n------=_a\nContent-Type: text/plain\n\n"
            "Text.\n\n------=_a--\n",
     "message_text missing", "semicolon"},
    {"last part wins",
     HEADER "Content-Type: multipart/mixed; boundary=\"----=_a\"\n\n------=_a\n" TEXT_PART
            "Text.\n\n------=_a\n" TEXT_PART "Footer.\n\n------=_a--\n",
     "message_text other", "part 2 (text/plain)"},
    {"percent escapes",
     HEADER "Content-Type: multipart/mixed; boundary=\"----=_a\"\n\n------=_a\n" TEXT_PART
            "http://x/a%20b\n\n------=_a--\n",
     "message_text other", "Percent escapes"},
    {"HTML only", HEADER "Content-Type: text/html\n\n<p>One.</p>\n\n<p>Two.</p>\n", "message_text surplus",
     "no plain text"},
    {"folded subject",
     "From: a@x\nSubject: One\n two\nDate: Mon, 1 Jan 2024 09:30:00 +0100\nContent-Type: text/plain\n\nT.\n",
     "subject shortened", "first line"},
    {"encoded subject",
     "From: a@x\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\nDate: Mon, 1 Jan 2024 09:30:00 +0100\n"
     "Content-Type: text/plain\n\nT.\n",
     "subject undecoded", "MIME words"},
    {"no subject of its own",
     "From: a@x\nDate: Mon, 1 Jan 2024 09:30:00 +0100\nContent-Type: text/plain\n\nSubject: quoted\n",
     "subject surplus", "in the mail's body"},
    {"subject in capitals",
     "From: a@x\nSUBJECT: Loud\nDate: Mon, 1 Jan 2024 09:30:00 +0100\nContent-Type: text/plain\n\nT.\n",
     "subject missing", "written exactly"},
    {"sender in a signature",
     "DKIM-Signature: v=1; h=From: Subject: Date:;\n" HEADER "Content-Type: text/plain\n\nT.\n",
     "from_list other,subject other", "in the header field DKIM-Signature"},
    {"quoted sender",
     "From: \"Ann Berg\" <a@x>\nSubject: S\nDate: Mon, 1 Jan 2024 09:30:00 +0100\nContent-Type: text/plain\n\nT.\n",
     "from_list undecoded", "quotation marks"},
    {"bracketed sender",
     "From: <a@x>\nSubject: S\nDate: Mon, 1 Jan 2024 09:30:00 +0100\nContent-Type: text/plain\n\nT.\n",
     "from_list other", "closing bracket"},
    {"date without weekday", "From: a@x\nSubject: S\nDate: 1 Jan 2024 09:30:00 +0100\nContent-Type: text/plain\n\nT.\n",
     "timestamp missing", "\"1 Jan 2024 09:30:00 +0100\""},
    {"bare recipients",
     "From: a@x\nTo: b@x, c@x\nSubject: S\nDate: Mon, 1 Jan 2024 09:30:00 +0100\nContent-Type: text/plain\n\nT.\n",
     "to_list shortened", "paired by position"},
    {"copies that are named",
     "From: a@x\nCc: Ben <b@x>, Cid <c@x>\nSubject: S\nDate: Mon, 1 Jan 2024 09:30:00 +0100\n"
     "Content-Type: text/plain\n\nT.\n",
     "", ""},
    {"cut by its text", HEADER "Content-Type: text/plain\n\nOne\nFrom here on it is another row\n",
     "message_text missing,row surplus", "begins with \"From \""},
    {"quoted separator", HEADER "Content-Type: text/plain\n\n>From the start\n", "message_text undecoded", ">From"},
};

#undef HEADER
#undef TEXT_PART

QByteArray with_crlf(QByteArray text)
{
    return text.replace("\n", "\r\n");
}

QByteArray compressed(const QByteArray &text)
{
    QByteArray bytes(static_cast<qsizetype>(compressBound(static_cast<uLong>(text.size()))), '\0');
    uLongf size = static_cast<uLongf>(bytes.size());
    compress(reinterpret_cast<Bytef *>(bytes.data()), &size, reinterpret_cast<const Bytef *>(text.constData()),
             static_cast<uLong>(text.size()));
    bytes.truncate(static_cast<qsizetype>(size));
    return bytes;
}

} // namespace

class test_differences : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void explained_data();
    void explained();
    void rows_of_mails();
    void attachment_files();
    void attachment_files_that_changed();
    void summary();
    void rows_that_are_absent_data();
    void rows_that_are_absent();
    void mail_stores_data();
    void mail_stores();

private:
    QByteArray host(const QStringList &arguments, int expected_status = 0);
    QVariantList ask(const QString &result, const QString &query);
    void write(const QString &name, const QByteArray &bytes);
    QString path(const QString &relative) const { return directory.filePath(relative); }

    QTemporaryDir directory;
};

QByteArray test_differences::host(const QStringList &arguments, int expected_status)
{
    QProcess process;
    process.start(QStringLiteral(GMAIL_HOST), arguments);
    process.waitForFinished(60000);
    const QByteArray output = process.readAllStandardOutput();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != expected_status)
        qWarning() << process.exitCode() << process.readAllStandardError() << output;
    return output;
}

/// All values of a query on Mail.sqlite, with the rows as database `g`.
QVariantList test_differences::ask(const QString &result, const QString &query)
{
    const QString folder = path(result) + QLatin1StringView("/Artifacts_Result/Gmail/");
    QVariantList values;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), result);
        db.setDatabaseName(folder + QLatin1StringView("Mail.sqlite"));
        db.open();
        QSqlQuery asked(db);
        asked.exec(QStringLiteral("attach '%1Gmail.sqlite' as g").arg(folder));
        if (!asked.exec(query))
            qWarning() << asked.lastError().text();
        while (asked.next()) {
            for (int i = 0; i < asked.record().count(); ++i)
                values.append(asked.value(i));
        }
    }
    QSqlDatabase::removeDatabase(result);
    return values;
}

void test_differences::write(const QString &name, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path(name)).path());
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

/// One run for all cases: each is a mail of one file.
void test_differences::initTestCase()
{
    QByteArray mbox;
    for (const mail_case &each : cases)
        mbox += separator + with_crlf(each.mail) + "\r\n";
    const QByteArray part = "Content-Type: image/png; name=\"%1\"\nContent-Disposition: attachment; filename=\"%1\"\n"
                            "Content-Transfer-Encoding: base64\n\n%2\n\n------=_a\n";
    const auto attachment = [&part](const QByteArray &name, const QByteArray &content) {
        return QByteArray(part).replace("%1", name).replace("%2", content);
    };
    mbox += separator;
    mbox += with_crlf("From: a@x\nSubject: S\nDate: Mon, 1 Jan 2024 09:30:00 +0100\n"
                      "Content-Type: multipart/mixed; boundary=\"----=_a\"\n\n------=_a\n" +
                      attachment("whole.png", "QUJDRA==") + attachment("long.png", "QUJD") +
                      attachment("twice.png", "WA==") + attachment("twice.png", "WVla") +
                      attachment("plain.png", "QUJDREU=").replace("filename=", "filename*=") +
                      "Content-Type: text/plain\n\nText.\n\n------=_a--\n\n");
    write(QStringLiteral("s/Mail/a.mbox"), mbox + separator + with_crlf("Subject: last\n\nEnd.\n"));
    const QByteArray output = host({QStringLiteral("extract"), path(QStringLiteral("s")), path(QStringLiteral("r")),
                                    QStringLiteral("--json"), QStringLiteral("--quiet")});
    write(QStringLiteral("output"), output);
}

void test_differences::explained_data()
{
    QTest::addColumn<int>("ordinal");
    QTest::addColumn<QString>("differences");
    QTest::addColumn<QString>("words");
    int ordinal = 0;
    for (const mail_case &each : cases)
        QTest::newRow(each.name) << ++ordinal << QString::fromLatin1(each.differences)
                                 << QString::fromLatin1(each.words);
}

void test_differences::explained()
{
    QFETCH(const int, ordinal);
    QFETCH(const QString, differences);
    QFETCH(const QString, words);
    const QString of_mail = QStringLiteral("from difference where mail = %1").arg(ordinal);
    QStringList found;
    for (const QVariant &each : ask(QStringLiteral("r"), u"select field || ' ' || kind " + of_mail))
        found.append(each.toString());
    found.sort();
    QCOMPARE(found.join(u','), differences);
    const QVariantList sentences = ask(QStringLiteral("r"), u"select group_concat(explanation) " + of_mail);
    QVERIFY2(sentences.value(0).toString().contains(words), qPrintable(sentences.value(0).toString()));
}

/// Each mail has the row of its own separator; the line inside a mail has one of its own, and the last mail has none.
void test_differences::rows_of_mails()
{
    QCOMPARE(ask(QStringLiteral("r"), QStringLiteral("select count(*), count(row), count(row_note) from mail")),
             QVariantList({int(std::size(cases)) + 2, int(std::size(cases)) + 1, 1}));
    QCOMPARE(ask(QStringLiteral("r"), QStringLiteral("select count(*) from mail join g.messages on row = INT "
                                                     "where mail.date != timestamp and timestamp != 0")),
             QVariantList() << 0);
    QCOMPARE(ask(QStringLiteral("r"), QStringLiteral("select row - id from mail where row is not null group by 1")),
             QVariantList({0, 1}));
    QCOMPARE(ask(QStringLiteral("r"), QStringLiteral("pragma foreign_key_check")), QVariantList());
}

void test_differences::attachment_files()
{
    QCOMPARE(ask(QStringLiteral("r"), QStringLiteral("select coalesce(file, '-') || ' ' || kind || ' ' || part_path "
                                                     "from attachment_file order by rowid")),
             QVariantList({QStringLiteral("- missing 2"), QStringLiteral("./Attachments/whole.png identical 1"),
                           QStringLiteral("./Attachments/long.png longer 2"),
                           QStringLiteral("./Attachments/twice.png identical 3"),
                           QStringLiteral("./Attachments/1_twice.png other 4"), QStringLiteral("- missing 5")}));
}

/// After the extraction.
void test_differences::attachment_files_that_changed()
{
    host({QStringLiteral("extract"), QStringLiteral("--rows-only"), path(QStringLiteral("s")),
          path(QStringLiteral("changed"))});
    const QString folder = path(QStringLiteral("changed/Artifacts_Result/Gmail/Attachments/"));
    QVERIFY(QFile::resize(folder + u"whole.png", 3) && QFile::remove(folder + u"long.png"));
    host({QStringLiteral("read"), path(QStringLiteral("s")), path(QStringLiteral("changed"))});
    QCOMPARE(ask(QStringLiteral("changed"), QStringLiteral("select kind from attachment_file where file like "
                                                           "'%/whole.png' or file like '%/long.png' order by rowid")),
             QVariantList({QStringLiteral("shorter"), QStringLiteral("missing")}));
}

void test_differences::summary()
{
    QFile output(path(QStringLiteral("output")));
    QVERIFY(output.open(QIODevice::ReadOnly));
    const QJsonObject mail = QJsonDocument::fromJson(output.readAll())[u"mail"].toObject();
    QCOMPARE(mail[u"mails"].toInt(), int(std::size(cases)) + 2);
    QCOMPARE(mail[u"mails_without_row"].toInt(), 1);
    QCOMPARE(mail[u"rows_with_unread_date"].toInt(), 1);
    QCOMPARE(mail[u"rows_with_other_sender"].toInt(), 2);
    QCOMPARE(mail[u"rows_with_other_subject"].toInt(), 3);
    QCOMPARE(mail[u"attachments_identical"].toInt(), 2);
    QCOMPARE(mail[u"attachments_altered"].toInt(), 2);
    QCOMPARE(mail[u"attachments_missing"].toInt(), 2); // the footer is never stored
    QFile record(path(QStringLiteral("r/Artifacts_Result/Gmail/run.json")));
    QVERIFY(record.open(QIODevice::ReadOnly));
    QCOMPARE(QJsonDocument::fromJson(record.readAll())[u"mail"].toObject()[u"mails_without_row"].toInt(), 1);
}

void test_differences::rows_that_are_absent_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QString>("numbers"); // of the rows of the five mails
    QTest::newRow("none") << QString() << QStringLiteral("1,2,3,4,-");
    QTest::newRow("one in between") << QStringLiteral("delete from messages where INT = 2")
                                    << QStringLiteral("1,-,3,4,-");
    QTest::newRow("the first") << QStringLiteral("delete from messages where INT = 1") << QStringLiteral("-,2,3,4,-");
    QTest::newRow("the last") << QStringLiteral("delete from messages where INT = 4") << QStringLiteral("1,2,3,-,-");
    QTest::newRow("one changed") << QStringLiteral("update messages set subject = 'x' where INT = 2")
                                 << QStringLiteral("1,2,3,4,-");
    QTest::newRow("all") << QStringLiteral("delete from messages") << QStringLiteral("-,-,-,-,-");
    QTest::newRow("the table") << QStringLiteral("drop table messages") << QStringLiteral("-,-,-,-,-");
}

/// `read` alone, on a result that has only the rows and their files.
void test_differences::rows_that_are_absent()
{
    QFETCH(const QString, change);
    QFETCH(const QString, numbers);
    QByteArray mbox;
    for (const char *subject : {"one", "two", "three", "four", "five"})
        mbox += separator + with_crlf(QByteArray("Subject: ") + subject + "\n\nT.\n\n");
    write(QStringLiteral("five/Mail/a.mbox"), mbox);
    const QString result = u"rows " + QString::fromLatin1(QTest::currentDataTag());
    const QStringList places = {path(QStringLiteral("five")), path(result), QStringLiteral("--quiet")};
    host(QStringList{QStringLiteral("extract"), QStringLiteral("--rows-only")} + places);
    QVERIFY(!QFile::exists(path(result) + QLatin1StringView("/Artifacts_Result/Gmail/Mail.sqlite")));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("change"));
        db.setDatabaseName(path(result) + QLatin1StringView("/Artifacts_Result/Gmail/Gmail.sqlite"));
        QVERIFY(db.open());
        QVERIFY(change.isEmpty() || QSqlQuery(db).exec(change));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("change"));
    host(QStringList{QStringLiteral("read")} + places);
    QCOMPARE(
        ask(result, QStringLiteral("select group_concat(coalesce(row, '-')) from (select row from mail order by id)"))
            .value(0)
            .toString(),
        numbers);
    QCOMPARE(ask(result, QStringLiteral("select count(*) from mail where (row is null) != (row_note is not null)")),
             QVariantList() << 0);
}

void test_differences::mail_stores_data()
{
    QTest::addColumn<QString>("encoding");
    for (const char *encoding : {"UTF-8", "UTF-16le"})
        QTest::newRow(encoding) << QString::fromLatin1(encoding);
}

/// Bodies of mail stores are inflated up to a limit; threads and labels come from their tables.
void test_differences::mail_stores()
{
    QFETCH(const QString, encoding);
    const QString source = u"android " + encoding, result = u"stores " + encoding;
    const QString folder = source + u"/apps/com.google.android.gm/db/";
    QDir().mkpath(path(folder));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("store"));
        db.setDatabaseName(path(folder + u"mailstore.e@x.db"));
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(QStringLiteral("pragma encoding = '%1'").arg(encoding)));
        for (const char *statement :
             {("create table messages (_id integer primary key, messageId integer, conversation integer, subject text, "
               "fromAddress text, toAddresses text, ccAddresses text, bccAddresses text, replyToAddresses text, "
               "snippet "
               "text, dateSentMs integer, dateReceivedMs integer, permalink text, bodyCompressed blob)"),
              "create table labels (_id integer primary key, canonicalName text, name text)",
              "create table message_labels (labels_id integer, message_messageId integer)",
              "insert into labels values (1, '^i', 'Inbox'), (2, 'work', null)",
              "insert into message_labels values (1, 77), (2, 77)"})
            QVERIFY2(query.exec(QString::fromLatin1(statement)), statement);
        query.prepare(QStringLiteral("insert into messages (messageId, conversation, subject, fromAddress, dateSentMs, "
                                     "bodyCompressed) values (?, 5, 'S', 'Carla <c@x>', 1704790800999, ?)"));
        for (const QByteArray &body :
             {compressed("<p>Keys</p>"), compressed(QByteArray(100'000'000, '<')), QByteArray("damaged")}) {
            query.bindValue(0, 77);
            query.bindValue(1, body);
            QVERIFY(query.exec());
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("store"));
    host({QStringLiteral("extract"), path(source), path(result), QStringLiteral("--quiet")}, 3);
    QCOMPARE(ask(result, QStringLiteral("select html, thread_id, date, row, problems is null from mail where id = 1")),
             QVariantList({QStringLiteral("<p>Keys</p>"), QStringLiteral("5"), 1704790800, 1, 1}));
    QCOMPARE(ask(result, QStringLiteral("select label from label where mail = 1 order by label")),
             QVariantList({QStringLiteral("Inbox"), QStringLiteral("work")}));
    QVERIFY(ask(result, QStringLiteral("select length(text) from mail where id = 2")).value(0).toInt() < 20'000'000);
    QCOMPARE(ask(result, QStringLiteral("select count(*) from mail where problems is not null")), QVariantList() << 2);
    QCOMPARE(ask(result, QStringLiteral("select kind from difference where mail = 1")),
             QVariantList({QStringLiteral("missing")}));
}

QTEST_GUILESS_MAIN(test_differences)
#include "test_differences.moc"
