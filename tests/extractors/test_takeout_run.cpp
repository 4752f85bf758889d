/// Whole runs of the Takeout extractor: a source in, rows, files and log lines out.
#include "common/plugin_static_function.h"
#include "tests/support/support.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

namespace {

/// A file of CRLF messages; each text begins after its separator line. The last one is there to be lost.
QByteArray mbox(const QList<QByteArray> &messages)
{
    QByteArray file;
    for (const QByteArray &message : messages + QList<QByteArray>{"lost\n"})
        file += "From 1@xxx Mon Jan 01\n" + message;
    return file.replace("\r\n", "\n").replace('\n', "\r\n");
}

QByteArray attachment(const QByteArray &parameter, const QByteArray &base64)
{
    return "------=_a\nContent-Type: image/png\nContent-Disposition: attachment; filename=" + parameter + "\n\n" +
           base64 + "\n";
}

const QByteArray multipart = "Content-Type: multipart/mixed; boundary=\"----=_a\"\n\n";

} // namespace

class test_takeout_run : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rows_data();
    void rows();
    void constant_columns();
    void attachment_files();
    void only_files_named_mbox();
    void failed_inserts_flow_into_the_next_row();
    void failing_inserts_do_not_pile_up();
    void unwritable_attachments_are_logged_and_listed();
    void nothing_selected_and_other_engines();
    void cancelled_from_a_signal();
    void unopenable_files_and_databases();
};

void test_takeout_run::rows_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QStringList>("expected"); // subject|to|from|timestamp|cc|snippet|attachments
    const auto row = [](const char *text) { return QStringList(QString::fromUtf8(text)); };
    const QByteArray plain = "Content-Type: text/plain\n\n";

    QTest::newRow("ordinary")
        << mbox({"Date: Mon, 1 Jan 2024 10:00:00 +0100\nFrom: Ann <a@x>\nTo: Bob <b@x>\nCc: Cy <c@x>\n"
                 "Subject: Hello\n" +
                 plain + "Text\n\nSecond paragraph\n\n"})
        << row("Hello|Bob|Ann|1704099600|Cy|Text|");
    QTest::newRow("no headers at all") << mbox({"\n"}) << row("|||0|||");
    QTest::newRow("marks in the body count, Bcc contains Cc in another case only")
        << mbox({"Bcc: B <b@x>\n" + plain + "see Cc: C <c@x>\nSubject: not a header\n\n"})
        << row("not a header|||0|C|see Cc: C <c@x>\r\nSubject: not a header|");
    QTest::newRow("only the first line of a name that ends in To")
        << mbox({"Reply-To: R <r@x>\nTo: B <b@x>\n"}) << row("|B||0|||");
    QTest::newRow("a comma takes in the next line")
        << mbox({"To: A <a@x>, B <b@x>\nSubject: S\n"}) << row("S|A , B||0|||");
    QTest::newRow("carriage returns end the folding")
        << mbox({"To: A <a@x>,\n B <b@x>,\n C <c@x>\n"}) << row("|A ,\r B ,||0|||");
    QTest::newRow("bare line feeds fold on, and have no blank line")
        << QByteArray("From a\nTo: A <a@x>,\n B <b@x>,\n C <c@x>\nContent-Type: text/plain\n\nText\n\nFrom b\n")
        << row("|A , B , C||0|||");
    QTest::newRow("recipient line at the end ends in a comma")
        << QByteArray("From a\nTo: A <a@x>,\nFrom b\n") << row("|A||0|||");
    QTest::newRow("xml without a content type")
        << QByteArray("From a\nSubject: S\n\n  before <?xml version\nFrom b\n") << row("S|||0||before|");
    QTest::newRow("single part, base64")
        << mbox({"Content-Type: text/plain\nContent-Transfer-Encoding: base64\n\nSGVs\nbG8=\n\n"})
        << row("|||0||Hello|");
    QTest::newRow("single part without an end") << mbox({plain + "Text\n"}) << row("|||0|||");
    QTest::newRow("last plain part wins, percent escapes and quotes")
        << mbox({multipart +
                 "------=_a\nContent-Type: text/plain; a\n\none\n\n------=_a\nContent-Type: text/html; b\n\nno\n\n"
                 "------=_a\nContent-Type: text/plain; c\n\ntwo=E2=80=99s 100%25\n\n------=_a--\n"})
        << row("|||0||two's 100%|");
    QTest::newRow("boundary of another kind")
        << mbox({"Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain; a\n\nText\n\n--b--\n"})
        << row("|||0|||");
    QTest::newRow("base64 in a part is not seen after CRLF")
        << mbox(
               {multipart +
                "------=_a\nContent-Type: text/plain; a\nContent-Transfer-Encoding: base64\n\nSGVsbG8=\n\n------=_a\n"})
        << row("|||0||SGVsbG8=|");
    QTest::newRow("base64 in a part is seen by the six bytes before the blank line")
        << QByteArray("From a\nContent-Type: multipart/x;\nContent-Type: text/plain; a\nx: "
                      "base64\n\r\nSGVsbG8=\n\r\n------=_a\nFrom b\n")
        << row("|||0||Hello|");
    QTest::newRow("separator in a body") << mbox({"Subject: one\nFrom here on\nSubject: two\n"})
                                         << QStringList({QStringLiteral("one|||0|||"), QStringLiteral("two|||0|||")});
    QTest::newRow("not UTF-8") << mbox({"Subject: caf\xE9 \xC3\xA9\n"}) << row("caf\xEF\xBF\xBD \xC3\xA9|||0|||");
    QTest::newRow("no rows from one message") << QByteArray("From a\nSubject: S\n") << QStringList();
}

void test_takeout_run::rows()
{
    QFETCH(QByteArray, file);
    plugin_session session(QStringLiteral("gTakeoutOS"));
    write_file(session.source(QStringLiteral("Mail/a.mbox")), file);
    session.prepare({QStringLiteral("messages")});
    session.extract();
    QTEST(rows_of(session.database(), QStringLiteral("select subject, to_list, from_list, timestamp, cc_list, snippet, "
                                                     "email_attachments from messages")),
          "expected");
    QVERIFY(rows_of(session.database(), QStringLiteral("select 1 from messages where message_text is not snippet"))
                .isEmpty());
}

void test_takeout_run::constant_columns()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    write_file(session.source(QStringLiteral("Mail/deep/er/a.mbox")), mbox({"Subject: S\n"}));
    session.source_info.text_field_3 = QString();
    session.prepare({QStringLiteral("messages")});
    session.extract();
    QCOMPARE(rows_of(session.database(), QStringLiteral("select * from messages")).first(),
             QStringLiteral(
                 "0|1|NULL|NULL|NULL|NULL|NULL|0|S|||NULL||account|NULL|NULL|NULL|NULL||||NULL|NULL|NULL|NULL|NULL|||"
                 "NULL|NULL|NULL|NULL|NULL|NULL|NULL||Source1|/Mail/deep/er/a.mbox|NULL|NULL"));
}

void test_takeout_run::attachment_files()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    write_file(session.source(QStringLiteral("Mail/a.mbox")),
               mbox({multipart + attachment("\"a.pdf\"", "QUFB\nQQ==") + attachment("b.png", "QkJCQg=="),
                     multipart + attachment("\"a.pdf\"", "Q0NDQw==") + attachment("\"a.pdf\"", "RERERA=="),
                     multipart + attachment("\"../../evil\"", "RQ==") + attachment("\"\"", "RQ==") +
                         attachment("empty", "==") + attachment("unended", "QUFB")}));
    session.prepare({QStringLiteral("messages")});
    session.extract();
    QCOMPARE(
        rows_of(session.database(),
                QStringLiteral("select email_attachments, export_file_paths, preview_file_path from messages")),
        QStringList(
            {QStringLiteral("a.pdf,b.png|./Attachments/a.pdf;++::++;./Attachments/b.png|./Attachments/a.pdf"),
             QStringLiteral("1_a.pdf,2_a.pdf|./Attachments/1_a.pdf;++::++;./Attachments/2_a.pdf|./Attachments/1_a.pdf"),
             QStringLiteral("evil,,empty|./Attachments/evil;++::++;./Attachments/;++::++;./Attachments/empty|"
                            "./Attachments/evil")}));
    const QString files = session.result(QStringLiteral("Attachments/"));
    QCOMPARE(files_in(files), QStringLiteral("1_a.pdf 2_a.pdf a.pdf b.png evil").split(u' '));
    QCOMPARE(read_file(files + u"a.pdf"), QByteArray("AAAA"));
    QCOMPARE(read_file(files + u"b.png"), QByteArray("BBBB"));
    QCOMPARE(read_file(files + u"2_a.pdf"), QByteArray("CCCC")); // one parameter text, one body
}

void test_takeout_run::only_files_named_mbox()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    for (const char *name : {"Mail/a.mbox", "Mail/b.MBOX", "Mail/c.mbox.bak", "Mail/x/d.mbox", "e.mbox"})
        write_file(session.source(QString::fromLatin1(name)), mbox({"Subject: S\n"}));
    QDir().mkpath(session.source(QStringLiteral("Mail/directory.mbox")));
    const log_capture log;
    session.prepare({QStringLiteral("messages")});
    session.extract();
    QCOMPARE(rows_of(session.database(), QStringLiteral("select source_file from messages order by 1")),
             QStringList({QStringLiteral("/Mail/a.mbox"), QStringLiteral("/Mail/x/d.mbox")}));
    QCOMPARE(log.lines_with(QStringLiteral("File Open Failed")),
             QStringList(u"gmail_gtakeoutos::start_mbox_parsing_for_plugin: [start_mbox_parsing] File Open Failed:" +
                         session.source(QStringLiteral("Mail/directory.mbox"))));
}

void test_takeout_run::failed_inserts_flow_into_the_next_row()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    write_file(session.source(QStringLiteral("Mail/a.mbox")),
               mbox({"Subject: one\n", "Subject: bad\n" + multipart + attachment("a", "QQ=="),
                     "Subject: three\nTo: T <t@x>\n", "Subject: four\n"}));
    session.prepare({QStringLiteral("messages")});
    QVERIFY(run_sql(session.database(),
                    {QStringLiteral("create trigger t before insert on messages when new.subject = 'bad' and "
                                    "new.to_list = '' begin select raise(abort, 'not this one'); end")}));
    const log_capture log;
    session.extract();
    // The next row is parsed from both messages; the attachment is written once more, under a free name.
    QCOMPARE(rows_of(session.database(), QStringLiteral("select subject, to_list, email_attachments from messages")),
             QStringList({QStringLiteral("one||"), QStringLiteral("bad|T|1_a"), QStringLiteral("four||")}));
    const QString me = QStringLiteral("gmail_gtakeoutos::start_mbox_parsing_for_plugin: ");
    QCOMPARE(log.lines_with(QStringLiteral("Error:")), QStringList(me + u"Error:not this one Unable to fetch row"));
    QCOMPARE(
        log.lines_with(QStringLiteral("Query insert ----FAILED---insert into messages  (bookmark,account_id ,subject"))
            .size(),
        1);
}

void test_takeout_run::failing_inserts_do_not_pile_up()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    const int count = 25;
    QList<QByteArray> messages(count, "Subject: bad\n\n" + QByteArray("some text\n").repeated(200000));
    messages.append("Subject: good\n");
    write_file(session.source(QStringLiteral("Mail/a.mbox")), mbox(messages));
    session.prepare({QStringLiteral("messages")});
    QVERIFY(run_sql(session.database(),
                    {QStringLiteral("create trigger t before insert on messages when new.subject = 'bad' "
                                    "begin select raise(abort, 'no'); end")}));
    const log_capture log;
    session.extract();
    QCOMPARE(rows_of(session.database(), QStringLiteral("select subject from messages")),
             QStringList(QStringLiteral("good")));
    QCOMPARE(log.lines_with(QStringLiteral("Query insert ----FAILED---")).size(), count);
    QVERIFY(!log.lines_with(QStringLiteral("----FAILED---- too many inserts in a row")).isEmpty());
}

void test_takeout_run::unwritable_attachments_are_logged_and_listed()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    const QByteArray long_name(300, 'n');
    write_file(session.source(QStringLiteral("Mail/a.mbox")), mbox({multipart + attachment(long_name, "QQ==")}));
    session.prepare({QStringLiteral("messages")});
    const log_capture log;
    session.extract();
    QCOMPARE(rows_of(session.database(), QStringLiteral("select email_attachments from messages")),
             QStringList(QString::fromLatin1(long_name)));
    const QString me = QStringLiteral("gmail_gtakeoutos::emlx_attachment_output: [emlx_attachment_output] ");
    QCOMPARE(log.lines_with(QStringLiteral("File Open Failed")),
             QStringList(me + u"File Open Failed:" + session.result(QStringLiteral("Attachments/")) +
                         QString::fromLatin1(long_name)));
    QCOMPARE(log.lines_with(QStringLiteral("Error:")), QStringList(me + u"Error:File name too long"));
}

void test_takeout_run::nothing_selected_and_other_engines()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    write_file(session.source(QStringLiteral("Mail/a.mbox")), mbox({"Subject: S\n"}));
    const QSignalSpy records(&session.plugin, SIGNAL(signal_extracted_records_of_plugin_overall(qint64)));
    const QSignalSpy tabs(&session.plugin, SIGNAL(signal_tab_processed_of_plugin_overall(int)));
    session.prepare({QStringLiteral("cookies")});
    session.extract();
    QCOMPARE(tabs.count(), 1); // a tab is still counted
    session.plugin.pub_set_engine_type(1);
    session.extract();
    QCOMPARE(tabs.count(), 1);
    QCOMPARE(records.count(), 3 + 3);
    QVERIFY(rows_of(session.database(), QStringLiteral("select 1 from messages")).isEmpty());

    session.prepare({QStringLiteral("messages")});
    session.extract();
    session.extract();
    QCOMPARE(records.last().first().toLongLong(), 2); // totals go on from run to run
    QCOMPARE(tabs.last().first().toInt(), 3);
}

/// The rows that a signal announces are there for a reader at that moment, and rows before a cancel are kept.
void test_takeout_run::cancelled_from_a_signal()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    QFile file(session.source(QStringLiteral("Mail/a.mbox")));
    QDir().mkpath(session.source(QStringLiteral("Mail")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (int i = 0; i < 120000; ++i)
        file.write("From a\nSubject: " + QByteArray::number(i) + "\nDate: never, ever and ever\n");
    file.close();
    session.prepare({QStringLiteral("messages")});
    qint64 announced = 0;
    qint64 readable = 0;
    connect(&session.plugin, &gmail::signal_extracted_records_of_plugin_overall, this, [&](qint64 total) {
        if (total == 0 || announced != 0)
            return;
        announced = total;
        readable = rows_of(session.database(), QStringLiteral("select count(*) from messages")).first().toLongLong();
        session.plugin.pub_cancel_extraction();
    });
    const log_capture log;
    session.extract();
    QVERIFY(announced > 0);
    QCOMPARE(readable, announced);
    QCOMPARE(rows_of(session.database(), QStringLiteral("select count(*) from messages")),
             QStringList(QString::number(announced)));
    QCOMPARE(log.lines_with(QStringLiteral("[start_mbox_parsing] -End")).size(), 1);

    session.plugin.pub_extract_artifacts();
    QVERIFY(log.lines().last().endsWith(u"[pub_extract_artifacts] - START")); // still cancelled

    session.plugin.pub_set_essentials(); // and no longer
    write_file(file.fileName(), mbox({"Subject: S\n"}));
    session.prepare({QStringLiteral("messages")});
    session.extract();
    QCOMPARE(rows_of(session.database(), QStringLiteral("select count(*) from messages")),
             QStringList(QString::number(announced + 1)));
}

void test_takeout_run::unopenable_files_and_databases()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    write_file(session.source(QStringLiteral("Mail/a.mbox")), mbox({"Subject: S\n"}));
    QDir().mkpath(session.database()); // a directory where the database should be
    const log_capture log;
    session.prepare({QStringLiteral("messages")});
    session.extract();
    const QString error = QStringLiteral("unable to open database file Error opening database");
    const QString create = QStringLiteral("gmail::create_db_tables: ");
    const QString extract = QStringLiteral("gmail_gtakeoutos::extract_gmail_for_plugin: ");
    QCOMPARE(log.lines_with(create).mid(1),
             QStringList({create + u"[create_db_tables]Destination Db opening  for table creation------FAILED--------",
                          create + error, create + session.database()}));
    QCOMPARE(
        log.lines_with(extract),
        QStringList({extract + u" -START", extract + u"open destination DB------ FAILED ------", extract + error}));
}

QTEST_MAIN(test_takeout_run)
#include "test_takeout_run.moc"
