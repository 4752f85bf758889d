/// The command-line host as an examiner uses it: arguments in, files, text and exit status out.
#include "host/terminal.h"
#include "tests/support/support.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <csignal>

namespace {

struct ended
{
    int status = -1;
    QString output;
    QString errors;
};

const QString samples = QStringLiteral(SOURCE_TREE "/samples/");

} // namespace

class test_gmail_host : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void extracts_the_sample();
    void summary_as_json();
    void second_run();
    void refusals_data();
    void refusals();
    void given_scheme_that_finds_nothing();
    void failures_are_counted_data();
    void failures_are_counted();
    void damaged_database_in_words();
    void log_reader();
    void output_that_goes_nowhere_data();
    void output_that_goes_nowhere();
    void texts_on_a_terminal_data();
    void texts_on_a_terminal();
    void cancelled_by_a_signal_data();
    void cancelled_by_a_signal();
    void cancelled_before_the_extraction_data();
    void cancelled_before_the_extraction();
    void changed_during_the_run_data();
    void changed_during_the_run();
    void same_record_however_it_is_made();
    void killed();
    void journal_of_a_killed_run();

private:
    ended host(const QStringList &arguments);
    QString path(const QString &relative) const { return directory->filePath(relative); }
    QString result(const QString &relative) const { return path(u"r/Artifacts_Result/Gmail/" + relative); }
    QString large_source();
    std::unique_ptr<QProcess> started_on_large_source();

    std::unique_ptr<QTemporaryDir> directory;
};

void test_gmail_host::init()
{
    directory = std::make_unique<QTemporaryDir>();
    QDir().mkpath(path(QStringLiteral("cwd")));
}

ended test_gmail_host::host(const QStringList &arguments)
{
    QProcess process;
    process.setWorkingDirectory(path(QStringLiteral("cwd")));
    process.start(QStringLiteral(GMAIL_HOST), arguments);
    process.waitForFinished(120000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
}

void test_gmail_host::extracts_the_sample()
{
    const ended run =
        host({QStringLiteral("extract"), samples + u"takeout", QStringLiteral("../r"), QStringLiteral("--account"),
              QStringLiteral("a@x"), QStringLiteral("--source-count"), QStringLiteral("4")});
    QCOMPARE(run.status, 0);
    QCOMPARE(run.errors, QString());
    QVERIFY(run.output.contains(u"messages                  6 rows\n"));
    QVERIFY(run.output.contains(u"attachment files          5\n"));
    QVERIFY(run.output.contains(result(QStringLiteral("Gmail.sqlite"))));
    QCOMPARE(rows_of(result(QStringLiteral("Gmail.sqlite")),
                     QStringLiteral("select distinct account_id, source_count_name, source_file from messages")),
             QStringList(QStringLiteral("a@x|Source4|/Mail/All mail Including Spam and Trash.mbox")));
    QVERIFY(QDir(path(QStringLiteral("cwd"))).isEmpty());
    QVERIFY(!QFile::exists(result(QStringLiteral("tmp"))));
    QVERIFY(QFile::exists(result(QStringLiteral("gmail.log"))));
}

void test_gmail_host::summary_as_json()
{
    const ended run =
        host({QStringLiteral("extract"), samples + u"takeout", path(QStringLiteral("r")), QStringLiteral("--json"),
              QStringLiteral("--no-log"), QStringLiteral("--tables"), QStringLiteral("cookies,messages")});
    QCOMPARE(run.status, 0);
    const QJsonObject summary = QJsonDocument::fromJson(run.output.toUtf8()).object();
    QCOMPARE(summary[u"result_db"].toString(), result(QStringLiteral("Gmail.sqlite")));
    QCOMPARE(summary[u"tables"].toObject()[u"messages"].toInt(), 6);
    QCOMPARE(summary[u"attachments"].toInt(), 5);
    QVERIFY(summary[u"failures"].isNull()); // without a log they cannot be counted
    QVERIFY(!summary[u"cancelled"].toBool() && summary[u"seconds"].isDouble());
    QVERIFY(!QFile::exists(result(QStringLiteral("gmail.log"))));
}

void test_gmail_host::second_run()
{
    const auto extract = [this](const QStringList &more) {
        return host(QStringList{QStringLiteral("extract"), samples + u"takeout", path(QStringLiteral("r"))} + more);
    };
    const auto rows = [this] {
        return rows_of(result(QStringLiteral("Gmail.sqlite")), QStringLiteral("select count(*) from messages")).first();
    };
    QCOMPARE(extract({}).status, 0);
    const ended refused = extract({});
    QCOMPARE(refused.status, 5);
    QVERIFY(refused.errors.contains(u"--clear") && refused.errors.count(u'\n') == 1);
    QCOMPARE(rows(), QStringLiteral("6"));
    QCOMPARE(extract({QStringLiteral("--append")}).status, 0);
    QCOMPARE(rows(), QStringLiteral("12"));
    const ended cleared = extract({QStringLiteral("--clear")});
    QVERIFY(cleared.output.contains(u"messages                  6 rows\n"));
    QCOMPARE(rows(), QStringLiteral("6"));
    QCOMPARE(files_in(result(QStringLiteral("Attachments"))).size(), 5);
}

void test_gmail_host::refusals_data()
{
    QTest::addColumn<QString>("arguments"); // D stands for the test's directory, S for the samples
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("said");
    QTest::newRow("no command") << "" << 2 << "subcommand";
    QTest::newRow("unknown command") << "exract S/takeout D/r" << 2
                                     << "\"exract\" is not a sub-command; choose from extract";
    QTest::newRow("no source") << "extract S/takeout" << 2 << "At least 2 required";
    QTest::newRow("number of the source")
        << "extract S/takeout D/r --source-count 0" << 2 << "--source-count: 0 is less than 1";
    QTest::newRow("unknown option") << "extract S/takeout D/r --x" << 2 << "--x";
    QTest::newRow("unknown table") << "extract S/takeout D/r --tables messages,x" << 2
                                   << "\"x\" is not known; choose from messages";
    QTest::newRow("no table") << "extract S/takeout D/r --tables=" << 2 << "--tables: ";
    QTest::newRow("negative limit") << "extract S/takeout D/r --keep-free -5" << 2 << "--keep-free: -5 is less than 0";
    QTest::newRow("unknown scheme") << "extract S/takeout D/r --scheme macos" << 2 << "\"macos\" is not known";
    QTest::newRow("clear and append") << "extract S/takeout D/r --clear --append" << 2 << "--clear";
    QTest::newRow("missing source") << "extract D/none D/r" << 4 << "none: does not exist";
    QTest::newRow("source of no kind") << "extract D/cwd D/r" << 4 << "is an empty folder";
    QTest::newRow("source is a text file") << "extract S/../README.md D/r" << 4 << "not recognised as a source";
    QTest::newRow("result inside the source") << "extract D/t D/t/x/y" << 5 << "is inside the source";
    QTest::newRow("the same without a log") << "extract D/t D/t/x/y --no-log" << 5 << "is inside the source";
    QTest::newRow("result is the source by a link") << "extract D/t D/link" << 5 << "is inside the source";
    QTest::newRow("source inside the result")
        << "extract D/o/Artifacts_Result/Gmail/tmp/t D/o" << 5 << "contains the source";
    QTest::newRow("log inside the source") << "extract D/t D/r --log D/t/gmail.log" << 5 << "is inside the source";
    QTest::newRow("log cannot be opened")
        << "extract D/t D/r --log D/none/gmail.log" << 5 << "cannot be opened for the log";
    QTest::newRow("result is a file") << "extract D/t D/file" << 5 << "cannot be written";
    QTest::newRow("result contains another file") << "extract D/t D/odd" << 5 << "cannot be read as a result database";
    QTest::newRow("no library") << "extract D/t D/r --library D/file" << 6 << "file: cannot be loaded";
    QTest::newRow("log to read is missing") << "log D/none" << 4 << "none: cannot be read";
}

void test_gmail_host::refusals()
{
    QFETCH(QString, arguments);
    QFETCH(int, status);
    QFETCH(QString, said);
    write_file(path(QStringLiteral("t/Mail/a.mbox")), "From a\n\nFrom b\n");
    write_file(path(QStringLiteral("o/Artifacts_Result/Gmail/tmp/t/Mail/a.mbox")), "From a\n");
    write_file(path(QStringLiteral("odd/Artifacts_Result/Gmail/Gmail.sqlite")), QByteArray(5000, 'x'));
    write_file(path(QStringLiteral("file")), "x");
    QVERIFY(QFile::link(path(QStringLiteral("t")), path(QStringLiteral("link"))));
    arguments.replace(QStringLiteral("S/"), samples)
        .replace(QRegularExpression(QStringLiteral("\\bD\\b")), directory->path());
    const ended run = host(arguments.split(u' ', Qt::SkipEmptyParts));
    QCOMPARE(run.status, status);
    QVERIFY2(run.errors.startsWith(u"gmail_host: ") && run.errors.contains(said), qPrintable(run.errors));
    QCOMPARE(run.errors.count(u'\n'), 1);
    QVERIFY(run.output.isEmpty());
    QCOMPARE(QDir(path(QStringLiteral("t"))).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("Mail")));
    const QStringList as_json = arguments.split(u' ', Qt::SkipEmptyParts) + QStringList(QStringLiteral("--json"));
    const QJsonObject object = QJsonDocument::fromJson(host(as_json).output.toUtf8()).object();
    if (arguments.startsWith(u"extract") || status == 2)
        QVERIFY(object[u"exit_status"].toInt() == status && object[u"message"].toString().contains(said));
}

void test_gmail_host::given_scheme_that_finds_nothing()
{
    QDir().mkpath(path(QStringLiteral("empty")));
    const ended run = host({QStringLiteral("extract"), path(QStringLiteral("empty")), path(QStringLiteral("r")),
                            QStringLiteral("--scheme"), QStringLiteral("gTakeoutOS")});
    QCOMPARE(run.status, 0);
    QVERIFY(run.output.contains(u"looked for Mail/ in " + path(QStringLiteral("empty/"))));
    QVERIFY(run.output.contains(u"messages                  0 rows\n"));
}

void test_gmail_host::failures_are_counted_data()
{
    QTest::addColumn<QStringList>("more");
    QTest::newRow("plain log") << QStringList();
    QTest::newRow("enciphered log") << QStringList(QStringLiteral("--encrypt-log"));
    QTest::newRow("after an earlier run's failures") << QStringList(QStringLiteral("--append"));
}

void test_gmail_host::failures_are_counted()
{
    QFETCH(QStringList, more);
    const QString mbox = path(QStringLiteral("--FAILED--/Mail/directory.mbox")); // in a path the word means nothing
    QDir().mkpath(mbox);
    const QStringList arguments = {QStringLiteral("extract"), path(QStringLiteral("--FAILED--")),
                                   path(QStringLiteral("r")), QStringLiteral("--json")};
    if (!more.isEmpty())
        host(arguments + more);
    const ended run = host(arguments + more);
    QCOMPARE(run.status, 3);
    const QJsonObject summary = QJsonDocument::fromJson(run.output.toUtf8()).object();
    QCOMPARE(summary[u"failures"].toInt(), 1);
    QVERIFY(summary[u"failure_lines"].toArray().first().toString().endsWith(u"File Open Failed:" + mbox));
    QCOMPARE(summary[u"failure_sentences"].toArray().first().toString(),
             QString(mbox + QStringLiteral(": the file could not be opened")));
}

void test_gmail_host::damaged_database_in_words()
{
    const QString cookies = path(QStringLiteral("a/apps/com.google.android.gm/r/app_webview/Cookies"));
    write_file(cookies, QByteArray(5000, 'x'));
    const ended run = host({QStringLiteral("extract"), path(QStringLiteral("a")), path(QStringLiteral("r"))});
    QCOMPARE(run.status, 3);
    QVERIFY2(run.output.contains(
                 cookies + QStringLiteral(": the database could not be read completely; some of its rows are missing")),
             qPrintable(run.output));
}

void test_gmail_host::log_reader()
{
    const QString log = path(QStringLiteral("log"));
    const QStringList extract = {QStringLiteral("extract"), samples + u"takeout", path(QStringLiteral("r")),
                                 QStringLiteral("--log"), log};
    host(extract);
    const QString plain = QString::fromUtf8(read_file(log));
    QCOMPARE(host({QStringLiteral("log"), log}).output, plain);

    QFile::remove(log);
    host(extract + QStringList{QStringLiteral("--clear"), QStringLiteral("--encrypt-log")});
    const QByteArray enciphered = read_file(log);
    QVERIFY(!enciphered.contains("find_source_file"));
    const auto without_times = [](QString text) {
        return text.remove(QRegularExpression(QStringLiteral("\\[\\d{4}-[^\\]]*\\]")));
    };
    QCOMPARE(without_times(host({QStringLiteral("log"), log}).output), without_times(plain));

    // Plain lines before and after, one of them continued and containing the end mark; two pieces damaged, the last cut
    // off.
    const qsizetype second = enciphered.indexOf("<[{()}]>") + 8;
    QByteArray damaged = enciphered.left(enciphered.indexOf("<[{()}]>", second) + 8);
    damaged[second + 8] = damaged[second + 8] == 'A' ? 'B' : 'A';
    const QByteArray plain_line = "[t][f]:-- a <[{()}]> b\ncontinued\n";
    write_file(log, plain_line + damaged + "not!base64<[{()}]>" + plain_line + "QUJD");
    const ended run = host({QStringLiteral("log"), log});
    QCOMPARE(run.status, 3);
    QStringList lines = run.output.split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 5);
    QVERIFY(lines.takeAt(2).endsWith(u"[set_destination_location] starts"));
    QCOMPARE(lines.join(u'\n') + u'\n', QString::fromLatin1(plain_line + plain_line));
    QCOMPARE(run.errors.count(u"cannot be deciphered"), 3);
    QVERIFY(run.errors.contains(QStringLiteral("log: piece 4, %1 bytes at offset %2, cannot be deciphered")
                                    .arg(damaged.size() - second - 8)
                                    .arg(plain_line.size() + second)));
}

void test_gmail_host::output_that_goes_nowhere_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("target"); // of standard output, as a shell writes it
    QTest::addColumn<int>("status");
    for (const char *command : {"extract S/takeout D/r", "inspect S/takeout", "verify D/done", "log D/log", "--help"})
        QTest::addRow("%s, full disk", command) << command << "> /dev/full" << 8;
    // More than a pipe holds, and nobody reads it.
    QTest::newRow("log, closed pipe") << "log D/log"
                                      << "| true" << 0;
    QTest::newRow("extract, closed pipe") << "extract S/takeout D/r"
                                          << "| true" << 0;
}

void test_gmail_host::output_that_goes_nowhere()
{
    QFETCH(QString, command);
    QFETCH(QString, target);
    write_file(path(QStringLiteral("log")), QByteArray("[t][f]:-- line\n").repeated(100000));
    host({QStringLiteral("extract"), samples + u"takeout", path(QStringLiteral("done"))});
    command.replace(QStringLiteral("S/"), samples).replace(QStringLiteral("D/"), directory->path() + u'/');
    QProcess shell;
    shell.start(QStringLiteral("bash"), {QStringLiteral("-c"), QStringLiteral(GMAIL_HOST " ") + command + u' ' +
                                                                   target + QStringLiteral("; exit ${PIPESTATUS[0]}")});
    QVERIFY(shell.waitForFinished(60000));
    QTEST(shell.exitCode(), "status");
    const QString errors = QString::fromUtf8(shell.readAllStandardError());
    QCOMPARE(errors.count(u"standard output: cannot be written (No space left on device)"),
             target.contains(u"full") ? 1 : 0);
    QCOMPARE(QFile::exists(result(QStringLiteral("run.json"))), command.startsWith(u"extract"));
}

void test_gmail_host::texts_on_a_terminal_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    QTest::newRow("ordinary") << QStringLiteral("Grüße, 日本 \\x") << QStringLiteral("Grüße, 日本 \\x");
    QTest::newRow("back to the line's begin") << QStringLiteral("a\rmatches") << "a\\x0Dmatches";
    QTest::newRow("escape, line feed, delete") << QStringLiteral("\x1b[2K\n\x7f") << "\\x1B[2K\\x0A\\x7F";
    QTest::newRow("eight-bit command") << QStringLiteral("\u009b2J") << "\\x9B2J";
    QTest::newRow("turned direction") << QStringLiteral("fdp\u202eexe.") << "fdp\\u202Eexe.";
}

void test_gmail_host::texts_on_a_terminal()
{
    QFETCH(QString, text);
    QTEST(escaped(text), "shown");
    QCOMPARE(escaped_utf8(text.toUtf8()), escaped(text).toUtf8());
}

/// Enough messages for a few seconds.
QString test_gmail_host::large_source()
{
    const QString source = path(QStringLiteral("large"));
    const QByteArray message =
        "From a\r\nSubject: s\r\nContent-Type: text/plain\r\n\r\n" + QByteArray("text ").repeated(40) + "\r\n\r\n";
    write_file(source + u"/Mail/a.mbox", message.repeated(400000));
    return source;
}

std::unique_ptr<QProcess> test_gmail_host::started_on_large_source()
{
    auto process = std::make_unique<QProcess>();
    process->setWorkingDirectory(path(QStringLiteral("cwd")));
    process->start(QStringLiteral(GMAIL_HOST),
                   {QStringLiteral("extract"), large_source(), path(QStringLiteral("r")), QStringLiteral("--json"),
                    QStringLiteral("--no-log"), QStringLiteral("--rows-only")});
    QElapsedTimer clock;
    clock.start();
    while (rows_of(result(QStringLiteral("Gmail.sqlite")), QStringLiteral("select count(*) > 0 from messages")) !=
               QStringList(QStringLiteral("1")) &&
           clock.elapsed() < 30000)
        QTest::qWait(20);
    return process;
}

void test_gmail_host::cancelled_by_a_signal_data()
{
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("status");
    QTest::newRow("SIGHUP") << SIGHUP << 129;
    QTest::newRow("SIGINT") << SIGINT << 130;
    QTest::newRow("SIGTERM") << SIGTERM << 143;
}

void test_gmail_host::cancelled_by_a_signal()
{
    QFETCH(int, signal);
    const std::unique_ptr<QProcess> process = started_on_large_source();
    ::kill(pid_t(process->processId()), signal);
    QVERIFY(process->waitForFinished(10000));
    QCOMPARE(process->exitStatus(), QProcess::NormalExit);
    QTEST(process->exitCode(), "status");
    const QJsonObject summary = QJsonDocument::fromJson(process->readAllStandardOutput()).object();
    QVERIFY(summary[u"cancelled"].toBool());
    const int rows = summary[u"tables"].toObject()[u"messages"].toInt();
    QVERIFY(rows > 0 && rows < 400000);
    QCOMPARE(rows_of(result(QStringLiteral("Gmail.sqlite")), QStringLiteral("select count(*) from messages")),
             QStringList(QString::number(rows)));
    QVERIFY(!QFile::exists(result(QStringLiteral("tmp"))));
}

void test_gmail_host::cancelled_before_the_extraction_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("extract") << QStringList{QStringLiteral("extract"), QStringLiteral("large.mbox"),
                                            QStringLiteral("r")};
    QTest::newRow("inspect") << QStringList{QStringLiteral("inspect"), QStringLiteral("large.mbox")};
}

/// The source is still being read: a large sparse file.
void test_gmail_host::cancelled_before_the_extraction()
{
    QFETCH(QStringList, arguments);
    QFile large(path(QStringLiteral("large.mbox")));
    QVERIFY(large.open(QIODevice::WriteOnly) && large.resize(8LL * 1024 * 1024 * 1024));
    QDir().mkpath(path(QStringLiteral("temporary")));
    QProcess process;
    process.setWorkingDirectory(directory->path());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), path(QStringLiteral("temporary")));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(GMAIL_HOST), arguments);
    QTest::qWait(300);
    ::kill(pid_t(process.processId()), SIGHUP);
    QVERIFY(process.waitForFinished(5000));
    QCOMPARE(process.exitCode(), 129);
    QVERIFY(process.readAllStandardError().contains("cancelled"));
    QCOMPARE(QDir(path(QStringLiteral("temporary"))).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList());
    QVERIFY(!QFile::exists(path(QStringLiteral("r"))));
}

void test_gmail_host::changed_during_the_run_data()
{
    const QString last_file = QStringLiteral("s/Mail/c.mbox"), archive = QStringLiteral("s.tar");
    const QStringList once = {QStringLiteral("--hash"), QStringLiteral("once")};
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("shrinks");
    QTest::newRow("read twice, written to") << QStringList() << last_file << false;
    QTest::newRow("read twice, shrunk") << QStringList() << last_file << true;
    QTest::newRow("read once, written to") << once << last_file << false;
    QTest::newRow("in turn, shrunk") << QStringList{QStringLiteral("--threads"), QStringLiteral("1")} << last_file
                                     << true;
    QTest::newRow("archive, read twice") << QStringList() << archive << false;
    QTest::newRow("archive, read once") << once << archive << false;
}

/// A file is changed as soon as there are rows.
void test_gmail_host::changed_during_the_run()
{
    QFETCH(QStringList, options);
    QFETCH(QString, file);
    QFETCH(bool, shrinks);
    const QByteArray message = "From a\r\nContent-Type: text/plain\r\n\r\n" + QByteArray(200, 'x') + "\r\n\r\n";
    for (const char *name : {"a", "b", "c"})
        write_file(path(QLatin1StringView("s/Mail/") + QLatin1StringView(name) + QLatin1StringView(".mbox")),
                   message.repeated(12000));
    QCOMPARE(QProcess::execute(QStringLiteral("tar"),
                               {QStringLiteral("-cf"), path(QStringLiteral("s.tar")), QStringLiteral("-C"),
                                path(QStringLiteral("s")), QStringLiteral("Mail")}),
             0);
    const QString source = path(file.section(u'/', 0, 0));
    QProcess process;
    process.start(QStringLiteral(GMAIL_HOST), QStringList{QStringLiteral("extract"), source, path(QStringLiteral("r")),
                                                          QStringLiteral("--rows-only")} +
                                                  options);
    while (process.state() != QProcess::NotRunning &&
           rows_of(result(QStringLiteral("Gmail.sqlite")), QStringLiteral("select 1 from messages limit 1")).isEmpty())
        process.waitForFinished(20);
    QFile changed(path(file));
    QVERIFY(changed.open(QIODevice::ReadWrite));
    QVERIFY(shrinks ? changed.resize(1000) : changed.write("X") == 1);
    changed.close();
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitCode(), 3);
    const QByteArray output = process.readAllStandardOutput();
    QVERIFY2(output.contains(QByteArray(file.toUtf8() + ": changed during the run")), output.constData());
    QVERIFY(!output.contains("s/Mail/a.mbox: changed"));
}

void test_gmail_host::same_record_however_it_is_made()
{
    const auto sources_and_results = [this](const QStringList &options) {
        host(QStringList{QStringLiteral("extract"), samples + u"takeout", path(QStringLiteral("r")),
                         QStringLiteral("--clear")} +
             options);
        const QJsonObject run = QJsonDocument::fromJson(read_file(result(QStringLiteral("run.json")))).object();
        return std::pair(run[u"sources"].toArray(), run[u"attachments"].toArray());
    };
    const auto [sources, attachments] = sources_and_results({});
    QCOMPARE(attachments.size(), 5);
    QVERIFY(!attachments[4][u"sha256"].isNull() && !sources[0][u"files"][0][u"sha256_after"].isNull());
    QCOMPARE(sources[0][u"tables"][0][u"rows_expected"].toInt(), 6);
    const QStringList in_turn = {QStringLiteral("--threads"), QStringLiteral("1")};
    QCOMPARE(sources_and_results(in_turn), std::pair(sources, attachments));
    const auto [once, same_attachments] = sources_and_results({QStringLiteral("--hash"), QStringLiteral("once")});
    QCOMPARE(same_attachments, attachments);
    QCOMPARE(once[0][u"files"][0][u"sha256_before"], sources[0][u"files"][0][u"sha256_before"]);
    QVERIFY(once[0][u"files"][0][u"sha256_after"].isNull());
}

void test_gmail_host::killed()
{
    const std::unique_ptr<QProcess> process = started_on_large_source();
    process->kill();
    QVERIFY(process->waitForFinished(10000));
    QCOMPARE(process->exitStatus(), QProcess::CrashExit);
    const QString database = result(QStringLiteral("Gmail.sqlite"));
    QVERIFY(run_sql(database,
                    {QStringLiteral("select 1 from messages")})); // a writable look rolls the open transaction back
    QCOMPARE(rows_of(database, QStringLiteral("pragma integrity_check")), QStringList(QStringLiteral("ok")));
    QVERIFY(rows_of(database, QStringLiteral("select count(*) from messages")).first().toInt() > 0);

    const ended again = host({QStringLiteral("extract"), path(QStringLiteral("large")), path(QStringLiteral("r")),
                              QStringLiteral("--clear"), QStringLiteral("--no-log"), QStringLiteral("--rows-only")});
    QCOMPARE(again.status, 0);
    QVERIFY(again.output.contains(u"messages             399999 rows"));
}

/// The state after a kill within a transaction: changed pages, and a journal with their earlier contents.
void test_gmail_host::journal_of_a_killed_run()
{
    const auto extract_anew = [this](const char *option) {
        return host(
            {QStringLiteral("extract"), samples + u"takeout", path(QStringLiteral("r")), QLatin1StringView(option)});
    };
    QCOMPARE(extract_anew("--quiet").status, 0);
    const QString database = result(QStringLiteral("Gmail.sqlite"));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("killed"));
        db.setDatabaseName(database);
        QVERIFY(db.open());
        for (const char *statement :
             {"pragma cache_size = 1", "begin", "update messages set subject = hex(zeroblob(9999))"})
            QVERIFY(QSqlQuery(db).exec(QLatin1StringView(statement)));
        for (const char *suffix : {"", "-journal"})
            write_file(path(QStringLiteral("left")) + QLatin1StringView(suffix),
                       read_file(database + QLatin1StringView(suffix)));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("killed"));
    for (const char *suffix : {"", "-journal"})
        write_file(database + QLatin1StringView(suffix),
                   read_file(path(QStringLiteral("left")) + QLatin1StringView(suffix)));
    QCOMPARE(extract_anew("--quiet").status, 5); // it contains rows
    QCOMPARE(extract_anew("--clear").status, 0);
    QCOMPARE(rows_of(database, QStringLiteral("select count(*), max(length(subject)) < 100 from messages")),
             QStringList(QStringLiteral("6|1")));
}

QTEST_MAIN(test_gmail_host)
#include "test_gmail_host.moc"
