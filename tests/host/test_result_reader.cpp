/// Opening results: good ones, and ones with every possible fault.
#include "host/results/result_reader.h"
#include "tests/support/result_with_mail.h"
#include "tests/support/support.h"

#include <QDir>
#include <QLockFile>
#include <QTest>

using namespace Qt::StringLiterals;

class test_result_reader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void refused_data();
    void refused();
    void no_mail_data();
    void no_mail();
    void reads_rows_and_leaves_nothing();
    void changed_while_read();

private:
    QString result(const QString &name = {}) const
    {
        return directory->filePath(u"result/Artifacts_Result/Gmail/"_s + name);
    }

    std::unique_ptr<QTemporaryDir> directory;
};

void test_result_reader::init()
{
    directory = std::make_unique<QTemporaryDir>();
    make_result_with_mail(directory->path());
}

/// A change to a good result, and the words that the refusal must contain.
using spoil = std::function<void(const QString &directory)>;
Q_DECLARE_METATYPE(spoil)

void test_result_reader::refused_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<spoil>("spoil_it");
    QTest::addColumn<QString>("words");
    const spoil nothing = [](const QString &) {};
    const auto add = [](const char *name, const spoil &spoil_it, const QString &words) {
        QTest::newRow(name) << u"result"_s << spoil_it << words;
    };
    const QString database = u"Gmail.sqlite"_s;
    QTest::newRow("no directory") << u"elsewhere"_s << nothing << u"does not exist"_s;
    QTest::newRow("no result") << u"."_s << nothing << u"contains no result"_s;
    add(
        "empty", [=](const QString &at) { QFile::resize(at + database, 0); }, u"not an SQLite database"_s);
    add(
        "cut", [=](const QString &at) { QFile::resize(at + database, QFileInfo(at + database).size() - 4096); },
        u"damaged: only"_s);
    add(
        "damaged",
        [=](const QString &at) {
            QFile file(at + database);
            QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(100) && file.write(QByteArray(400, '\xff')) == 400);
        },
        u"reading stopped"_s);
    add(
        "another database",
        [=](const QString &at) {
            QFile::remove(at + database);
            run_sql(at + database, {u"create table unrelated (a)"_s});
        },
        u"no table \"messages\""_s);
    add(
        "column missing",
        [=](const QString &at) { run_sql(at + database, {u"alter table messages drop column cc_list"_s}); },
        u"has no column \"cc_list\""_s);
    add(
        "view for a table",
        [=](const QString &at) {
            run_sql(at + database, {u"alter table cookies rename to c"_s, u"create view cookies as select * from c"_s});
        },
        u"no table \"cookies\""_s);
    add(
        "journal in use",
        [=](const QString &at) {
            write_file(at + database + u"-journal", QByteArray::fromHex("d9d505f920a163d700000000"));
        },
        u"is being written"_s);
    add(
        "log of changes", [=](const QString &at) { write_file(at + database + u"-wal", "x"); }, u"is being written"_s);
}

void test_result_reader::refused()
{
    QFETCH(const QString, given);
    QFETCH(const spoil, spoil_it);
    QFETCH(const QString, words);
    spoil_it(result());
    result_reader reader;
    const maybe_refusal refused = reader.open(directory->filePath(given));
    QVERIFY(refused);
    QCOMPARE(refused->status, exit_status::bad_result);
    QVERIFY2(refused->text.contains(words), qPrintable(refused->text));
    QVERIFY(refused->text.startsWith(directory->path()));
}

void test_result_reader::no_mail_data()
{
    QTest::addColumn<spoil>("spoil_it");
    QTest::addColumn<QString>("words");
    QTest::newRow("missing") << spoil([](const QString &at) { QFile::remove(at); }) << u"gmail_host read"_s;
    QTest::newRow("another version") << spoil([](const QString &at) { run_sql(at, {u"pragma user_version = 999"_s}); })
                                     << u"of version 999"_s;
    QTest::newRow("being written") << spoil([](const QString &at) { write_file(at + u"-wal", "x"); })
                                   << u"is being written"_s;
    QTest::newRow("table missing") << spoil([](const QString &at) { run_sql(at, {u"drop table part"_s}); })
                                   << u"no table \"part\""_s;
}

void test_result_reader::no_mail()
{
    QFETCH(const spoil, spoil_it);
    QFETCH(const QString, words);
    spoil_it(result(u"Mail.sqlite"_s));
    result_reader reader;
    QVERIFY(!reader.open(directory->filePath(u"result"_s)));
    QVERIFY(!reader.has_mail() && !reader.table("mail") && reader.table("messages"));
    QVERIFY2(reader.mail_problem()->text.contains(words), qPrintable(reader.mail_problem()->text));
    QVERIFY(!reader.changed());
}

/// Also for a database that the suite left in WAL mode, and for a path with characters that mean something in a URI.
void test_result_reader::reads_rows_and_leaves_nothing()
{
    run_sql(result(u"Gmail.sqlite"_s), {u"pragma journal_mode=wal"_s});
    QVERIFY(QDir(directory->path()).rename(u"result"_s, u"ä%20?#&"_s));
    const QString place = directory->filePath(u"ä%20?#&/Artifacts_Result/Gmail"_s);
    const QStringList before = files_in(place);
    {
        result_reader reader;
        QVERIFY(!reader.open(place));
        QVERIFY(reader.has_mail());
        QVERIFY(reader.table("messages")->columns.at(reader.table("messages")->find("timestamp")).is_time);
        sqlite_statement rows =
            reader.query("select timestamp, subject, snippet from messages where subject = ?", {"First"});
        QVERIFY(rows.next());
        QCOMPARE(rows.at(0).stored_as, cell::type::integer);
        QCOMPARE(rows.number(0), 1704702600);
        QCOMPARE(rows.text(1), QByteArray("First"));
        QCOMPARE(rows.at(2).stored_as, cell::type::null);
        QCOMPARE(files_in(place), before);
        QVERIFY(!rows.next() && !reader.failure(rows) && !reader.changed());
        sqlite_statement writing = reader.query("delete from messages");
        QVERIFY(!writing.next() && reader.failure(writing));
    }
    QCOMPARE(files_in(place), before);
}

void test_result_reader::changed_while_read()
{
    result_reader reader;
    QVERIFY(!reader.open(directory->filePath(u"result"_s)));
    QVERIFY(run_sql(result(u"Gmail.sqlite"_s), {u"insert into messages (subject) values ('second')"_s}));
    QVERIFY(reader.changed());
    QVERIFY(reader.changed()->text.contains(u"changed while it was read"));

    QLockFile lock(result(u"gmail_host.lock"_s));
    QVERIFY(lock.tryLock());
    result_reader during_a_run;
    const maybe_refusal refused = during_a_run.open(directory->filePath(u"result"_s));
    QVERIFY(refused && refused->text.contains(u"a run is writing this result"));
}

QTEST_GUILESS_MAIN(test_result_reader)
#include "test_result_reader.moc"
