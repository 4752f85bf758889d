/// `gmail_host report`: its data files, where it writes and what it refuses. A browser tests the page itself
/// (`tests/results/browser.mjs`).
#include "host/results/attachment_kind.h"
#include "host/results/report_script.h"
#include "host/results/report_search.h"
#include "tests/support/result_with_mail.h"
#include "tests/support/support.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

class test_report : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { make_result_with_mail(directory.emplace().path()); }
    void texts_in_scripts_data();
    void texts_in_scripts();
    void words_data();
    void words();
    void kinds_data();
    void kinds();
    void data_files();
    void places_data();
    void places();
    void earlier_report();
    void full_disk();
    void cancel_data();
    void cancel();

private:
    QString path(const QString &name) const { return directory->filePath(name); }
    QString gmail(const QString &name = {}) const { return path(u"result/Artifacts_Result/Gmail/"_s + name); }
    int run(const QStringList &options = {});
    int in_shell(const QString &command);

    QString output, errors;
    std::optional<QTemporaryDir> directory;
};

int test_report::run(const QStringList &options)
{
    QProcess process;
    process.start(QStringLiteral(GMAIL_HOST), QStringList{u"report"_s, path(u"result"_s)} + options);
    process.waitForFinished();
    output = QString::fromUtf8(process.readAllStandardOutput());
    errors = QString::fromUtf8(process.readAllStandardError());
    return process.exitCode();
}

int test_report::in_shell(const QString &command)
{
    QProcess process;
    process.start(u"bash"_s,
                  {u"-c"_s, QString(command).replace(
                                u"REPORT"_s, u"%1 report %2"_s.arg(QStringLiteral(GMAIL_HOST), path(u"result"_s)))});
    process.waitForFinished();
    errors = QString::fromUtf8(process.readAllStandardError());
    return process.exitCode();
}

void test_report::texts_in_scripts_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("written");
    const auto row = [](const char *name, const QByteArray &text, const QByteArray &written) {
        QTest::newRow(name) << text << written;
    };
    row("end of a script", "</script>", R"("\u003c/script>")");
    row("comment of HTML", "<!--", R"("\u003c!--")");
    // NOLINTNEXTLINE(misc-misleading-bidirectional)
    row("line separators", "a\u2028\u2029\u202a", "\"a\\u2028\\u2029\u202a\"");
    row("quotes", R"("\)", R"("\"\\")");
    row("controls", QByteArray("\0\n\x1b\x7f", 4), R"("\u0000\n\u001b\u007f")");
    row("not UTF-8", "a\xff\xe2", "\"a\ufffd\ufffd\"");
    row("letters", "Z\u00fcrich \u6771", "\"Z\u00fcrich \u6771\"");
}

void test_report::texts_in_scripts()
{
    QFETCH(QByteArray, text);
    json_text json;
    json.text(QByteArrayView(text));
    QTEST(json.bytes(), "written");
}

void test_report::words_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("words");
    const auto row = [](const char *name, const QString &text, const QString &expected) {
        QTest::newRow(name) << text << expected.split(u' ', Qt::SkipEmptyParts);
    };
    row("ASCII", u"Re: Anna.Berg@example.org, a 4711!"_s, u"re anna berg example org 4711"_s);
    row("accents", u"Z\u00fcrich Zu\u0308rich \u00c5ngstr\u00f6m"_s, u"zurich zurich angstrom"_s);
    row("sigma at the end", u"\u039b\u03cc\u03b3\u03bf\u03c2"_s, u"\u03bb\u03bf\u03b3\u03bf\u03c3"_s);
    row("without blanks", u"ab\u6771\u4eac1x"_s, u"ab \u6771 \u4eac 1x"_s);
    row("Korean", u"\ud68c\uc758"_s, QString(u"\ud68c\uc758"_s).normalized(QString::NormalizationForm_KD));
    row("too long", QString(60, u'x'), QString(40, u'x'));
    row("marks alone", u"-- \u0301 --"_s, {});
}

void test_report::words()
{
    QFETCH(QString, text);
    QStringList found;
    for (const QByteArray &word : search_words(text.toUtf8()))
        found.append(QString::fromUtf8(word));
    QTEST(found, "words");
}

void test_report::kinds_data()
{
    QTest::addColumn<QByteArray>("media_type");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("kind");
    const auto row = [](const char *title, const char *media_type, const char *name, attachment_kind kind) {
        QTest::newRow(title) << QByteArray(media_type) << QByteArray(name) << int(kind);
    };
    row("by type", "image/jpeg", "x", attachment_kind::picture);
    row("by extension", "application/octet-stream", "Plan.PDF", attachment_kind::pdf);
    row("a program under another type", "image/png", "holiday.png.EXE", attachment_kind::program);
    row("text of no known name", "text/x-log", "a.b", attachment_kind::text);
    row("nothing known", "", "", attachment_kind::other);
}

void test_report::kinds()
{
    QFETCH(QByteArray, media_type);
    QFETCH(QByteArray, name);
    QFETCH(int, kind);
    QCOMPARE(int(kind_of_attachment(media_type, name)), kind);
}

void test_report::data_files()
{
    QCOMPARE(run(), 0);
    QCOMPARE(output, gmail(u"Report/index.html\n"_s));
    QVERIFY(!errors.contains(u"warning"_s) &&
            read_file(gmail(u"Report/index.html"_s)).contains("Content-Security-Policy"));
    for (const QString &name : files_in(gmail(u"Report/data"_s))) {
        const QByteArray script = read_file(gmail(u"Report/data/"_s + name));
        QVERIFY2(script.startsWith("gmail_report(\"") && script.endsWith(");\n"), qPrintable(name));
        const qsizetype data = script.indexOf(',', script.indexOf(',') + 1) + 1;
        const QByteArray json = script.sliced(data).chopped(3);
        QVERIFY2(!QJsonDocument::fromJson(json).isNull(), qPrintable(name));
        QVERIFY2(!script.contains('<'), qPrintable(name));
    }
    const QByteArray start = read_file(gmail(u"Report/data/start.js"_s));
    QVERIFY(start.contains(R"("mails":{"count":3,"from_mail":1)"));
    QVERIFY(start.contains(R"("result_address":"../")"));
}

void test_report::places_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("said");
    QTest::newRow("new") << u"REPORT --out out"_s << 0 << QString();
    QTest::newRow("an empty directory") << u"mkdir out && REPORT --out out/"_s << 0 << QString();
    QTest::newRow("other files") << u"mkdir out && touch out/a && REPORT --out out"_s << 5 << u"is not a report"_s;
    QTest::newRow("a hidden file") << u"mkdir out && touch out/.a && REPORT --out out"_s << 5 << u"is not a report"_s;
    QTest::newRow("a file") << u"touch out && REPORT --out out"_s << 5 << u"is not a report"_s;
    QTest::newRow("a link") << u"mkdir a && ln -s a out && REPORT --out out"_s << 5 << u"is not a report"_s;
    QTest::newRow("below a file") << u"touch a && REPORT --out a/out"_s << 5 << u"no such directory"_s;
    QTest::newRow("no result") << u"mkdir a && REPORT/none --out out"_s << 5 << u"does not exist"_s;
}

void test_report::places()
{
    QFETCH(QString, command);
    QFETCH(int, status);
    QFETCH(QString, said);
    QCOMPARE(in_shell(u"cd %1 && %2"_s.arg(directory->path(), command)), status);
    QVERIFY2(errors.contains(said) && errors.count(u'\n') == (status == 0 ? 0 : 1), qPrintable(errors));
    QCOMPARE(QFileInfo::exists(path(u"out/index.html"_s)), status == 0);
    QVERIFY(QDir(directory->path()).entryList({u"*unfinished*"_s}).isEmpty());
}

void test_report::earlier_report()
{
    QCOMPARE(run(), 0);
    write_file(gmail(u"Report/data/details-99.js"_s), "of the earlier report");
    QCOMPARE(run(), 0);
    QVERIFY(!QFileInfo::exists(gmail(u"Report/data/details-99.js"_s)));
    QCOMPARE(QDir(gmail()).entryList({u"*Report*"_s}), QStringList{u"Report"_s});
}

void test_report::full_disk()
{
    QCOMPARE(run(), 0);
    const QByteArray before = read_file(gmail(u"Report/data/start.js"_s));
    QCOMPARE(in_shell(u"trap '' XFSZ; ulimit -f 1; REPORT"_s), 5);
    QVERIFY2(errors.contains(u"cannot be written"_s), qPrintable(errors));
    QCOMPARE(read_file(gmail(u"Report/data/start.js"_s)), before);
    QCOMPARE(QDir(gmail()).entryList({u"*Report*"_s}), QStringList{u"Report"_s});
}

void test_report::cancel_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("signal");
    QTest::newRow("report") << QStringList({u"report"_s}) << SIGHUP;
    for (const QString &format : {u"csv"_s, u"jsonl"_s, u"tln"_s})
        QTest::newRow(qPrintable(format)) << QStringList({u"export"_s, u"--format"_s, format}) << SIGTERM;
}

/// Nothing half-written is left.
void test_report::cancel()
{
    QFETCH(QStringList, options);
    QFETCH(int, signal);
    QVERIFY(QFile::remove(gmail(u"Mail.sqlite"_s)));
    QVERIFY(run_sql(
        gmail(u"Gmail.sqlite"_s),
        {u"with recursive n(i) as (select 1 union all select i + 1 from n where i < 300000)"
         " insert into messages (subject, message_text) select 'subject ' || i, hex(randomblob(40)) from n"_s}));
    QProcess process;
    process.start(QStringLiteral(GMAIL_HOST), options + QStringList({path(u"result"_s), u"--out"_s, path(u"out"_s)}));
    const auto written = [this] { return QDir(directory->path()).entryList({u"out*"_s}); };
    QTRY_VERIFY(!written().isEmpty());
    kill(static_cast<pid_t>(process.processId()), signal);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 128 + signal);
    QCOMPARE(written(), QStringList());
}

QTEST_GUILESS_MAIN(test_report)
#include "test_report.moc"
