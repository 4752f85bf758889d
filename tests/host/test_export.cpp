/// `gmail_host export`: the contents of the files, read back, and that nothing half-written is left.
#include "host/results/export_mails.h"
#include "tests/support/result_with_mail.h"
#include "tests/support/support.h"

#include <QCryptographicHash>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

class test_export : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void csv();
    void jsonl();
    void timeline();
    void mails_data();
    void mails();
    void mails_of_another_source();
    void message_of_a_mail_data();
    void message_of_a_mail();
    void refused_data();
    void refused();
    void full_disk();

private:
    QString path(const QString &name) const { return directory->filePath(name); }
    QByteArray exported(const QString &name) const { return read_file(path(u"out/"_s + name)); }
    int host(const QString &format, const QStringList &more = {});

    std::unique_ptr<QTemporaryDir> directory;
    QString errors;
};

void test_export::init()
{
    directory = std::make_unique<QTemporaryDir>();
    make_result_with_mail(directory->path());
}

int test_export::host(const QString &format, const QStringList &more)
{
    QProcess process;
    process.start(QStringLiteral(GMAIL_HOST),
                  QStringList{u"export"_s, path(u"result"_s), u"--format"_s, format, u"--out"_s, path(u"out"_s)} +
                      more);
    process.waitForFinished();
    errors = QString::fromUtf8(process.readAllStandardError());
    return process.exitCode();
}

void test_export::csv()
{
    QCOMPARE(host(u"csv"_s), 0);
    QVERIFY(exported(u"accounts.csv"_s)
                .startsWith("\xef\xbb\xbf"
                            "bookmark,INT,"));
    QVERIFY(exported(u"accounts.csv"_s).contains("\r\n,1,,,\"\",b@x,")); // NULL and empty differ
    const QByteArray messages = exported(u"messages.csv"_s);
    QVERIFY(messages.contains(",2024-01-08T08:30:00Z,First,"));
    QVERIFY(messages.contains(",0,\x1b[31mred,"));
    QVERIFY(messages.contains(",\"two\nlines, \"\"quoted\"\"\","));
    QVERIFY(messages.contains(",\"'=HYPERLINK(\"\"x\"\")\","));
    QVERIFY(messages.contains("Ünïcode 日本"));
    QVERIFY(exported(u"cookies.csv"_s).contains(",\"'-1\",")); // a text, not a number
    QVERIFY(exported(u"label.csv"_s).contains("\r\n1,Wörk\r\n"));
    QVERIFY(exported(u"about_this_export.txt"_s).contains("3 rows, 1 cells with an apostrophe added"));
}

void test_export::jsonl()
{
    QCOMPARE(host(u"jsonl"_s), 0);
    const QList<QByteArray> lines = exported(u"messages.jsonl"_s).split('\n');
    QCOMPARE(lines.size(), 4);
    const QJsonObject first = QJsonDocument::fromJson(lines.at(0)).object(),
                      second = QJsonDocument::fromJson(lines.at(1)).object();
    QCOMPARE(first[u"INT"], QJsonValue(1));
    QCOMPARE(first[u"timestamp"], QJsonValue(u"2024-01-08T08:30:00Z"_s));
    QVERIFY(first[u"snippet"].isNull() && first.contains(u"snippet"));
    QCOMPARE(second[u"timestamp"], QJsonValue(0));
    QCOMPARE(second[u"subject"].toString(), u"\x1b[31mred"_s);
    QCOMPARE(second[u"message_text"].toString(), u"two\nlines, \"quoted\""_s);
    QCOMPARE(first.keys().size(), 40);
    QCOMPARE(QJsonDocument::fromJson(exported(u"cookies.jsonl"_s)).object()[u"value"], QJsonValue(u"-1"_s));
}

void test_export::timeline()
{
    run_sql(path(u"result/Artifacts_Result/Gmail/Gmail.sqlite"_s),
            {u"update messages set subject = 'a|b' where INT = 1"_s});
    QCOMPARE(host(u"tln"_s), 0);
    QCOMPARE(QString::fromUtf8(exported(u"timeline.tln"_s)),
             u"1704702600|Gmail|||cookies.creation_time 1:  sid; \n"
             "1704702600|Gmail|Source1||mail.date 1: First; from Anna Berg <anna@example.org>; /Mail/All.mbox\n"
             "1704702600|Gmail|Source1|me|messages.timestamp 1: a\\x7Cb; from Anna Berg; to Bert; /Mail/All.mbox\n"
             "1704789000|Gmail|Source2|b@x|messages.date_sent 3: Ünïcode 日本; from ÄNNE; /db/m.db\n"
             "1704875400|Gmail|Source1||mail.date 3: Last; from Anna Berg <anna@example.org>; /Mail/All.mbox\n"_s);
}

void test_export::mails_data()
{
    QTest::addColumn<bool>("packed");
    QTest::newRow("directory") << false;
    QTest::newRow("archive") << true;
}

void test_export::mails()
{
    QFETCH(const bool, packed);
    QString source = path(u"source"_s);
    if (packed) {
        source = path(u"source.tar.gz"_s);
        QCOMPARE(QProcess::execute(u"tar"_s, {u"-czf"_s, source, u"-C"_s, path(u"source"_s), u"Takeout"_s}), 0);
    }
    QCOMPARE(host(u"eml"_s, {u"--source"_s, source}), 0);
    const QByteArray first = exported(u"mails/0000/0000001.eml"_s);
    QCOMPARE(first, QByteArray("From: Anna Berg <anna@example.org>\r\nSubject: First\r\n\r\nHello Bert,\r\nFrom here "
                               "on it is quoted.\r\n"));
    QCOMPARE(exported(u"mails/0000/0000003.eml"_s), QByteArray("Subject: Last\r\n\r\nOnly in the mail.\r\n"));
    const QByteArray line = ",exported,mails/0000/0000001.eml," +
                            QCryptographicHash::hash(first, QCryptographicHash::Sha256).toHex() + ',' +
                            QCryptographicHash::hash(mail_in_mbox(1), QCryptographicHash::Sha256).toHex() + ',';
    QVERIFY(exported(u"mails.csv"_s).contains(line));
    QCOMPARE(QDir(path(u"out"_s)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList({u"about_this_export.txt"_s, u"mails"_s, u"mails.csv"_s}));
}

void test_export::mails_of_another_source()
{
    const QString mbox = path(u"source/Takeout/Mail/All.mbox"_s);
    write_file(mbox, read_file(mbox).replace("Only in", "Nothing"));
    QCOMPARE(host(u"eml"_s, {u"--source"_s, path(u"source"_s)}), 3);
    QVERIFY(errors.contains(u"1 mails were not exported"));
    QVERIFY(exported(u"mails.csv"_s).contains("3,2024-01-10T08:30:00Z,Last,differs from the source,\"\",\"\","));
    QVERIFY(!QFile::exists(path(u"out/mails/0000/0000003.eml"_s)) &&
            QFile::exists(path(u"out/mails/0000/0000002.eml"_s)));

    QDir(path(u"out"_s)).removeRecursively();
    write_file(mbox, mail_in_mbox(3));
    QCOMPARE(host(u"eml"_s, {u"--source"_s, path(u"source"_s)}), 4);
    QVERIFY(!QFile::exists(path(u"out"_s)));
}

void test_export::message_of_a_mail_data()
{
    QTest::addColumn<QByteArray>("mail");
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("no end") << QByteArray("From a\nb: c\n\nd") << QByteArray("b: c\n\nd");
    QTest::newRow("one empty line goes") << QByteArray("From a\nb\n\n\n") << QByteArray("b\n\n");
    QTest::newRow("quoted twice") << QByteArray("From a\n>>From b\n> From c\n>Fromage\n")
                                  << QByteArray(">From b\n> From c\n>Fromage\n");
    QTest::newRow("the line alone") << QByteArray("From a") << QByteArray("From a");
}

void test_export::message_of_a_mail()
{
    QFETCH(const QByteArray, mail);
    QFETCH(const QByteArray, message);
    QCOMPARE(message_of(mail), message);
}

void test_export::refused_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QStringList>("more");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("words");
    QTest::newRow("eml without a source") << u"eml"_s << QStringList() << 2 << u"needs --source"_s;
    QTest::newRow("source without eml") << u"csv"_s << QStringList{u"--source"_s, u"."_s} << 2 << u"eml only"_s;
    QTest::newRow("format") << u"xml"_s << QStringList() << 2 << u"csv, jsonl, eml, tln"_s;
    QTest::newRow("source missing") << u"eml"_s << QStringList{u"--source"_s, u"/nowhere"_s} << 4 << u"/nowhere"_s;
    QTest::newRow("inside the source") << u"eml"_s << QStringList{u"--source"_s, u"."_s} << 5
                                       << u"must not be written to"_s;
}

void test_export::refused()
{
    QFETCH(const QString, format);
    QFETCH(QStringList, more);
    QFETCH(const int, status);
    QFETCH(const QString, words);
    more.replaceInStrings(QRegularExpression(u"^\\.$"_s), directory->path());
    QCOMPARE(host(format, more), status);
    QVERIFY2(errors.contains(words) && errors.count(u'\n') == 1, qPrintable(errors));
    QCOMPARE(QDir(directory->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList({u"result"_s, u"source"_s}));
}

/// A full disk, a result damaged further on, or an existing target: nothing is left behind.
void test_export::full_disk()
{
    for (const char *format : {"csv", "jsonl", "tln"}) {
        QProcess process;
        process.start(u"bash"_s,
                      {u"-c"_s,
                       u"ulimit -f 0; trap '' XFSZ; exec \"$0\" export \"$1\" --format %1 --out \"$2\""_s.arg(
                           QLatin1StringView(format)),
                       QStringLiteral(GMAIL_HOST), path(u"result"_s), path(u"out"_s)});
        process.waitForFinished();
        QCOMPARE(process.exitCode(), 5);
        QVERIFY(process.readAllStandardError().contains("cannot be written"));
        QCOMPARE(QDir(directory->path()).entryList({u"out*"_s}), QStringList());
    }
    QCOMPARE(host(u"csv"_s), 0);
    QCOMPARE(host(u"jsonl"_s), 5);
    QVERIFY(errors.contains(u"already exists") && QFile::exists(path(u"out/messages.csv"_s)));
}

QTEST_GUILESS_MAIN(test_export)
#include "test_export.moc"
