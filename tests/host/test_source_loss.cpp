/// Nothing in a source is lost silently: several people in one folder, mail that is not read, copies, faults.
#include "host/pass/hashed_file.h"
#include "tests/support/archives.h"
#include "tests/support/host_session.h"
#include "tests/support/support.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QTest>

#include <archive.h>
#include <csignal>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace {

/// An mbox that gives `rows` rows.
QByteArray mail(int rows, const QByteArray &text = "Text")
{
    QByteArray bytes;
    for (int i = 0; i <= rows; ++i)
        bytes += "From 1@xxx Mon Jan 01 10:00:00 +0000 2024\r\nSubject: s\r\n\r\n" + text + "\r\n";
    return bytes;
}

QString texts(const QJsonValue &array)
{
    QStringList texts;
    for (const QJsonValue &each : array.toArray())
        texts.append(each.toString());
    return texts.join(u'\n');
}

} // namespace

class test_source_loss : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { session = std::make_unique<host_session>(); }
    void roots_data();
    void roots();
    void passed_over();
    void passed_over_of_each_source();
    void separators_are_counted();
    void hashed_while_it_is_read();
    void rows_that_vanish();
    void second_copies();
    void parts_of_an_export();
    void faults_before_a_run();
    void older_cookies();
    void interrupted_at_the_password_data();
    void interrupted_at_the_password();

private:
    QString path(const QString &name) const { return session->path(name); }
    void write(const QList<packed> &members)
    {
        for (const packed &each : members)
            write_file(path(u"given/" + QString::fromUtf8(each.path)), each.bytes);
    }
    bool has_line(const QString &begin, const QString &end) const
    {
        for (const QString &line : session->output.split(u'\n')) {
            if (line.trimmed().startsWith(begin) && line.endsWith(end))
                return true;
        }
        return false;
    }

    std::unique_ptr<host_session> session;
};

void test_source_loss::roots_data()
{
    QTest::addColumn<QList<packed>>("members");
    QTest::addColumn<QStringList>("rows");
    const auto add = [](const char *name, const QList<packed> &members, const QStringList &rows) {
        QTest::newRow(name) << members << rows;
    };
    add("two people", {{"bob/Takeout/Mail/a.mbox", mail(3)}, {"alice/Takeout/Mail/a.mbox", mail(2)}},
        {QStringLiteral("Source1|/Mail/a.mbox|2"), QStringLiteral("Source2|/Mail/a.mbox|3")});
    add("one inside the other's folder", {{"Takeout/Mail/a.mbox", mail(1)}, {"b/Takeout/E-Mail/a.mbox", mail(2)}},
        {QStringLiteral("Source1|/Mail/a.mbox|1"), QStringLiteral("Source2|/Mail/a.mbox|2")});
    add("folders of mail", {{"b/Mail/a.mbox", mail(2)}, {"a/Mail/a.mbox", mail(1)}},
        {QStringLiteral("Source1|/Mail/a.mbox|1"), QStringLiteral("Source2|/Mail/a.mbox|2")});
    add("a label called Takeout", {{"Takeout/Mail/Takeout/x/a.mbox", mail(1)}, {"Takeout/Mail/b.mbox", mail(1)}},
        {QStringLiteral("Source1|/Mail/Takeout/x/a.mbox|1"), QStringLiteral("Source1|/Mail/b.mbox|1")});
}

void test_source_loss::roots()
{
    QFETCH(QList<packed>, members);
    QFETCH(QStringList, rows);
    write(members);
    write_file(path(QStringLiteral("packed")), archive_of(members, ARCHIVE_FORMAT_TAR_USTAR));
    for (const char16_t *source : {u"given", u"packed"}) {
        QCOMPARE(session->extract(QString::fromUtf16(source), {QStringLiteral("--clear")}), 0);
        QCOMPARE(session->rows(QStringLiteral("select source_count_name, source_file, count(*) from messages "
                                              "group by 1, 2 order by 1, 2")),
                 rows);
    }
}

void test_source_loss::passed_over_of_each_source()
{
    write({{"alice/Takeout/Mail/a.mbox", mail(1)},
           {"bob/Takeout/Mail/a.mbox", mail(1)},
           {"bob/Takeout/Mail/y.MBOX", mail(1)}});
    QCOMPARE(session->extract(QStringLiteral("given")), 0);
    const QJsonArray sources = session->record()[u"sources"].toArray();
    QCOMPARE(texts(sources[0][u"remarks"]), QString());
    QVERIFY(texts(sources[1][u"remarks"]).contains(u"bob/Takeout/Mail/y.MBOX: not read"));
}

void test_source_loss::passed_over()
{
    const QString newer =
        QStringLiteral("contains a mail store of a newer version of the application, which is not read");
    const QList<std::pair<QString, QString>> lines = {
        {QStringLiteral("takeout-1Z-001.zip: "), QStringLiteral("give it as a SOURCE of its own")},
        {QStringLiteral("x.MBOX: "), QStringLiteral("give it as a SOURCE of its own")},
        {QStringLiteral("Mail/.h.mbox: "), QStringLiteral("give it as a SOURCE of its own")},
        {QStringLiteral(".d/h.mbox: "), QStringLiteral("give it as a SOURCE of its own")},
        {QStringLiteral("other.mbox: "), QStringLiteral("give it as a SOURCE of its own")},
        {QStringLiteral("x/Takeout: a link"), QStringLiteral("give its target as a SOURCE")},
        {QStringLiteral("apps/com.google.android.gm/db/bigTopDataDB.1: "), newer}};
    write({{"Mail/a.mbox", mail(1)},
           {"takeout-1Z-001.zip", "x"},
           {"x.MBOX", mail(1)},
           {"Mail/.h.mbox", mail(1)},
           {".d/h.mbox", mail(1)},
           {"other.mbox", mail(1)},
           {"apps/com.google.android.gm/db/bigTopDataDB.1", "x"},
           {"apps/com.google.android.gm/db/bigTopDataDB.1-wal", "x"}});
    QDir().mkpath(path(QStringLiteral("given/x")));
    QFile::link(QStringLiteral("/usr"), path(QStringLiteral("given/x/Takeout")));
    QFile::link(QStringLiteral("a.mbox"), path(QStringLiteral("given/Mail/read.mbox")));
    QCOMPARE(session->run({QStringLiteral("inspect"), path(QStringLiteral("given"))}), 0);
    for (const auto &[begin, end] : lines)
        QVERIFY2(has_line(begin, end), qPrintable(begin));
    QVERIFY(!session->output.contains(u"read.mbox: a link") && !session->output.contains(u"1-wal"));
    QCOMPARE(session->extract(QStringLiteral("given")), 0);
    const QString remarks = texts(session->record()[u"sources"][0][u"remarks"]);
    for (const auto &[begin, end] : lines)
        QVERIFY2(has_line(begin, end) && remarks.contains(begin), qPrintable(begin));
    QCOMPARE(session->rows(QStringLiteral("select distinct source_file from messages order by 1")),
             (QStringList{QStringLiteral("/Mail/a.mbox"), QStringLiteral("/Mail/read.mbox")}));
    for (const char16_t *name : {u"given/Mail/.h.mbox", u"given/x.MBOX"}) // as the message says
        QCOMPARE(session->extract(QString::fromUtf16(name), {QStringLiteral("--clear")}), 0);
    QVERIFY(session->output.contains(u"messages                  1 rows"));
}

/// A file system may list one user's data under two names.
/// However the bytes are split into blocks.
void test_source_loss::separators_are_counted()
{
    const QByteArray bytes = "\xEF\xBB\xBF"
                             "From a\nx From b\n\xEF\xBB\xBF"
                             "From c\n\r\nFrom d\n\xBF"
                             "From e\n From f\nFromg\n\n\nFrom h\nFrom ";
    for (qsizetype size = 1; size <= bytes.size(); ++size) {
        file_digest digest(false, true);
        for (qsizetype at = 0; at < bytes.size(); at += size)
            digest.add(bytes.sliced(at, qMin(size, bytes.size() - at)));
        QCOMPARE(digest.separators(), 5);
    }
}

/// In any order of reading.
void test_source_loss::hashed_while_it_is_read()
{
    QByteArray bytes;
    for (int i = 0; i < 100'000; ++i)
        bytes += QByteArray::number(i);
    write_file(path(QStringLiteral("f")), bytes);
    const QList<std::pair<qint64, qint64>> readings = {{400'000, 100}, {0, 1000}, {500, 5000}, {5500, 10}, {9000, 10}};
    hashed_file file(path(QStringLiteral("f")));
    file.begin_hash();
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    for (const auto &[place, size] : readings)
        QVERIFY(file.seek(place) && file.read(size) == bytes.sliced(place, size));
    QCOMPARE(file.sha256([](qint64) { return true; }).toLatin1(),
             QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

/// Fewer rows than the source has messages, and no failure in the log: this still counts as a failure.
void test_source_loss::rows_that_vanish()
{
    write({{"Mail/a.mbox", mail(3)}});
    QCOMPARE(session->extract(QStringLiteral("given")), 0);
    QVERIFY(
        run_sql(session->result(QStringLiteral("Gmail.sqlite")),
                {QStringLiteral("create trigger t before insert on messages when (select count(*) from messages) = 4 "
                                "begin select raise(ignore); end")}));
    QCOMPARE(session->run({QStringLiteral("extract"), QStringLiteral("--append"), path(QStringLiteral("given")),
                           path(QStringLiteral("r"))}),
             3);
    QVERIFY(session->output.contains(u"rows written differ from rows expected"));
    QCOMPARE(session->record()[u"sources"][0][u"tables"][0][u"differences"][0][u"reason"].toString(),
             QStringLiteral("not explained"));
}

void test_source_loss::second_copies()
{
    const auto image = [](const QByteArray &preferences) {
        return archive_of({{"data/data/com.google.android.gm/databases/EmailProvider.db", "a"},
                           {"data/data/com.google.android.gm/shared_prefs/UnifiedEmail.xml", "a"},
                           {"data/user/0/com.google.android.gm/databases/EmailProvider.db", "a"},
                           {"data/user/0/com.google.android.gm/shared_prefs/UnifiedEmail.xml", preferences}},
                          ARCHIVE_FORMAT_TAR_USTAR);
    };
    const auto failures = [&](const QByteArray &preferences) {
        write_file(path(QStringLiteral("image")), image(preferences));
        session->extract(QStringLiteral("image"), {QStringLiteral("--clear"), QStringLiteral("--tables=cookies")});
        return session->record()[u"failures"].toInt();
    };
    QCOMPARE(failures("a"), 0);
    QCOMPARE(session->record()[u"sources"][0][u"skipped_members"][u"second copy of a file that was read"].toInt(), 2);
    QCOMPARE(failures("b"), 1);
    QVERIFY(session->output.contains(u"user/0/com.google.android.gm/shared_prefs/UnifiedEmail.xml: is not read, and "
                                     "differs from data/data/"));
    write_file(path(QStringLiteral("image")),
               archive_of({{"data/data/com.google.android.gm/databases/EmailProvider.db", "a"},
                           {"data/user/0/com.google.android.gm/databases/EmailProvider.db", "a"},
                           {"data/user/0/com.google.android.gm/databases/EmailProvider.db-wal", "w"}},
                          ARCHIVE_FORMAT_TAR_USTAR));
    QCOMPARE(session->run({QStringLiteral("inspect"), path(QStringLiteral("image"))}), 3);
    QVERIFY(session->output.contains(u"EmailProvider.db-wal: is not read; it belongs to a second copy"));
}

void test_source_loss::parts_of_an_export()
{
    const auto part = [this](const char16_t *name, int rows) {
        write_file(
            path(u"given/" + QString::fromUtf16(name)),
            archive_of({{"Takeout/Mail/" + QByteArray::number(rows) + ".mbox", mail(rows)}}, ARCHIVE_FORMAT_ZIP));
    };
    part(u"takeout-1Z-001.zip", 1);
    part(u"takeout-1Z-001 (1).zip", 1);
    part(u"takeout-1Z-004.zip", 4);
    QCOMPARE(session->extract(QStringLiteral("given")), 4);
    QVERIFY(session->errors.contains(u"parts 2, 3 of the export are missing"));
    QCOMPARE(session->extract(QStringLiteral("given"), {QStringLiteral("--accept-missing-parts")}), 0);
    QCOMPARE(session->rows(QStringLiteral("select count(*) from messages")), QStringList(QStringLiteral("5")));
    const QString remarks = texts(session->record()[u"sources"][0][u"remarks"]);
    for (const QString &said : {session->output, remarks})
        QVERIFY(said.contains(u"parts 2, 3 of the export are missing") && said.contains(u"; read once"));
    part(u"takeout-1Z-001 (1).zip", 2);
    QCOMPARE(session->extract(QStringLiteral("given"), {QStringLiteral("--clear")}), 4);
    QVERIFY(session->errors.contains(u"given twice"));
}

/// `inspect` names beforehand everything that an extraction would meet, with the same status.
void test_source_loss::faults_before_a_run()
{
    write({{"Mail/a.mbox", mail(1)}, {"Mail/closed/b.mbox", mail(1)}, {"Mail/c.mbox", mail(1)}});
    const QString mail_folder = path(QStringLiteral("given/Mail/"));
    write_file(mail_folder + u"d.mbox", {});
    const QByteArray invalid = mail_folder.toUtf8() + "\xFF.mbox";
    QVERIFY(::rename(qPrintable(QString(mail_folder + u"d.mbox")), invalid.constData()) == 0);
    ::chmod(qPrintable(QString(mail_folder + u"closed")), 0);
    ::chmod(qPrintable(QString(mail_folder + u"c.mbox")), 0);
    const QStringList faults = {QStringLiteral("Mail/closed: cannot be read"),
                                QStringLiteral("Mail/c.mbox: cannot be read"),
                                QStringLiteral("Mail/%FF.mbox: cannot be read")};
    QCOMPARE(session->run({QStringLiteral("inspect"), path(QStringLiteral("given"))}), 3);
    for (const QString &fault : faults)
        QVERIFY2(session->output.contains(fault), qPrintable(session->output));
    QCOMPARE(session->extract(QStringLiteral("given")), 3);
    QCOMPARE(session->record()[u"failures"].toInt(), 3); // each once

    QDir().rename(mail_folder, path(QStringLiteral("given/elsewhere"))); // where only this program looks
    QCOMPARE(session->run({QStringLiteral("inspect"), path(QStringLiteral("given"))}), 4); // c.mbox cannot be staged
    QFile::remove(path(QStringLiteral("given/elsewhere/c.mbox")));
    QCOMPARE(session->extract(QStringLiteral("given"), {QStringLiteral("--clear")}), 3);
    QVERIFY(session->output.contains(u"elsewhere/closed: cannot be read"));
    ::chmod(qPrintable(path(QStringLiteral("given/elsewhere/closed"))), 0700);
    const QByteArray moved = path(QStringLiteral("given/elsewhere/")).toUtf8() + "\xFF.mbox";
    ::unlink(moved.constData()); // Qt would not
}

void test_source_loss::older_cookies()
{
    const QString place = path(QStringLiteral("given/apps/com.google.android.gm/r/app_webview/Cookies"));
    QVERIFY(run_sql(place, {QStringLiteral("create table cookies(host_key, name, value, path, creation_utc, "
                                           "expires_utc, last_access_utc, secure, is_httponly, has_expires, "
                                           "is_persistent)"),
                            QStringLiteral("insert into cookies(name) values(1), (2)")}));
    QCOMPARE(session->run({QStringLiteral("inspect"), path(QStringLiteral("given"))}), 3);
    QVERIFY2(session->output.contains(u"its 2 rows cannot be extracted without the columns is_secure\n"),
             qPrintable(session->output));
    QCOMPARE(session->extract(QStringLiteral("given"), {QStringLiteral("--tables=cookies")}), 3);
}

void test_source_loss::interrupted_at_the_password_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("typed");
    QTest::addColumn<int>("status");
    for (const char16_t *command : {u"extract", u"inspect"})
        QTest::newRow(qPrintable(QString::fromUtf16(command)))
            << QString::fromUtf16(command) << QByteArray("\x03") << 130;
    // Ten million rounds: the process has to be ended while they are running.
    QTest::newRow("inspect, forced") << QStringLiteral("inspect") << QByteArray("p\n") << 143;
}

void test_source_loss::interrupted_at_the_password()
{
    QFETCH(QString, command);
    QFETCH(QByteArray, typed);
    QFETCH(int, status);
    QByteArray backup = android_backup_of("x", 4, false, QStringLiteral("p"));
    write_file(path(QStringLiteral("given.ab")), backup.replace("\n1000\n", "\n9999999\n"));
    QStringList arguments = {command, path(QStringLiteral("given.ab"))};
    if (command == u"extract")
        arguments.append(path(QStringLiteral("r")));
    int terminal = -1;
    const std::unique_ptr<QProcess> process = session->start_on_terminal(arguments, terminal);
    QByteArray shown(100, '\0');
    QVERIFY(::read(terminal, shown.data(), 100) > 0 && shown.startsWith("Password of"));
    termios settings = {};
    QTRY_VERIFY(tcgetattr(terminal, &settings) == 0 && (settings.c_lflag & ECHO) == 0);
    QVERIFY(::write(terminal, typed.constData(), std::size_t(typed.size())) == typed.size());
    if (status == 143)
        QTRY_VERIFY(tcgetattr(terminal, &settings) == 0 && (settings.c_lflag & ECHO) != 0);
    if (status == 143)
        process->terminate();
    QVERIFY(process->waitForFinished(20000));
    QCOMPARE(process->exitCode(), status);
    QVERIFY(tcgetattr(terminal, &settings) == 0 && (settings.c_lflag & ECHO) != 0);
    if (status == 130)
        QVERIFY(process->readAllStandardError().contains("cancelled"));
    QVERIFY(!QFile::exists(path(QStringLiteral("r"))));
    QCOMPARE(QDir(path(QStringLiteral("tmp"))).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden),
             QStringList());
    ::close(terminal);
}

QTEST_GUILESS_MAIN(test_source_loss)
#include "test_source_loss.moc"
