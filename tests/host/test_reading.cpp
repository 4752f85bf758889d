/// Reading mail: where mails begin, what fields and parts say, and the loss when a mail kills its reader.
#include "host/reading/mail_date.h"
#include "host/reading/mail_fields.h"
#include "host/reading/mail_reader.h"
#include "host/reading/mail_splitter.h"
#include "host/reading/record_stream.h"
#include "host/reading/transfer_encoding.h"
#include "host/reading/worker.h"
#include "host/reading/worker_pool.h"
#include "tests/support/support.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <unistd.h>

namespace {

const QByteArray from = "From 1@xxx Mon Jan 01 10:11:12 +0000 2024\n";

/// "1 text/plain 3 name=x; ..." of the parts, the bytes of those that are not displayed in brackets.
QByteArray parts_of(const QByteArray &mail)
{
    QByteArrayList written, lines;
    const mail_record record =
        read_mail(QByteArray(from + mail), false, [&written](QByteArrayView bytes, mail_part &part) {
            written.append(bytes.toByteArray());
            part.spool_file = QByteArray::number(written.size());
        });
    for (const mail_part &part : record.parts)
        lines.append(part.path + ' ' + part.media_type + ' ' +
                     (part.is_text ? QByteArray("text") : '[' + written.at(part.spool_file.toInt() - 1) + ']'));
    return lines.join(", ");
}

/// A worker that dies of mails of 6 bytes, sleeps over those of 7, and answers the others.
int run_faulty_worker()
{
    const qint64 started = 0;
    if (::write(STDOUT_FILENO, &started, sizeof started) < 0)
        return 1;
    worker_request request;
    QByteArray known_path;
    while (::read(STDIN_FILENO, &request, sizeof request) > 0) {
        QByteArray path(request.path_size, Qt::Uninitialized);
        if (::read(STDIN_FILENO, path.data(), static_cast<std::size_t>(path.size())) < 0)
            return 1;
        if (request.length == 6)
            static_cast<void>(
                std::raise(SIGKILL)); // a sanitizer would print a report first, which takes longer than the limit
        if (request.length == 7)
            ::pause();
        known_path = path.isEmpty() ? known_path : path;
        const QByteArray answer = to_bytes({.subject = known_path + QByteArray::number(request.offset)});
        const qint64 size = answer.size();
        if (::write(STDOUT_FILENO, &size, sizeof size) < 0 ||
            ::write(STDOUT_FILENO, answer.constData(), static_cast<std::size_t>(size)) < 0)
            return 1;
    }
    return 0;
}

} // namespace

class test_reading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void splits_data();
    void splits();
    void splits_across_blocks();
    void dates_data();
    void dates();
    void texts_data();
    void texts();
    void addresses_data();
    void addresses();
    void names_data();
    void names();
    void ids_data();
    void ids();
    void parts_data();
    void parts();
    void beyond_the_limits_data();
    void beyond_the_limits();
    void faulty_workers();
    void whole_run();
    void kept_after_a_cancel();
    void refusals();
    void same_as_python();
};

void test_reading::splits_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QByteArray>("mails"); // offset+length(ordinals of the plug-in's separators)
    const auto row = [](const char *name, const QByteArray &given, const QByteArray &expected) {
        QTest::newRow(name) << given << expected;
    };
    const QByteArray size = QByteArray::number(from.size());
    row("two, the last without a line end", from + "A: b\n\nx\n\n" + from + "A: c", "0+51(1) 51+46(2)");
    row("bytes before the first", "x\n\n" + from, "3+" + size + "(1)");
    row("no date", from + "\nFrom me to you\n\nFrom x\n", "0+66(1,2,3)");
    row("no empty line, but a field after it", from + "a\n" + from + "Subject: x\n", "0+44(1) 44+53(2)");
    row("neither", from + "a\n" + from + "b\n", "0+88(1,2)");
    row("CRLF", from.chopped(1) + "\r\n\r\n" + from + "\r\n", "0+45(1) 45+44(2)");
    row("dates",
        "From a Mon Jan  1 10:11:12 2024\n\nFrom - Tue Feb 13 1:11 2024\n\n"
        "From a Tue Feb 13 01:11 2024 GMT\n\nFrom a Tue Feb 13 01:11:02 MET DST 2024\n",
        "0+62(1,2) 62+34(3) 96+40(4)");
    row("quoted, and inside a line", from + "\n>" + from + "\n " + from,
        "0+" + QByteArray::number(size.toInt() * 3 + 4) + "(1)");
    row("byte order marks", "\xEF\xBB\xBF" + from + "\n\xEF\xBB\xBF" + from, "0+91(1,2)");
    row("nothing", QByteArray("\n"), "");
}

void test_reading::splits()
{
    QFETCH(QByteArray, file);
    QFETCH(QByteArray, mails);
    QBuffer device(&file);
    QVERIFY(device.open(QIODevice::ReadOnly));
    mail_splitter splitter(device);
    QByteArrayList found;
    for (mail_place place; splitter.next(place);) {
        QByteArrayList ordinals;
        for (const row_separator &each : std::as_const(place.separators))
            ordinals.append(QByteArray::number(each.ordinal));
        found.append(QByteArray::number(place.offset) + '+' + QByteArray::number(place.length) + '(' +
                     ordinals.join(',') + ')');
    }
    QCOMPARE(found.join(' '), mails);
}

/// Every position of a separator in a block, and lines longer than blocks.
void test_reading::splits_across_blocks()
{
    for (qsizetype filler = 256 * 1024 - 9000; filler < 256 * 1024 + 100; filler += 37) {
        QByteArray file = from + QByteArray(filler, 'x') + "\n\n" + from + "y\n";
        QBuffer device(&file);
        QVERIFY(device.open(QIODevice::ReadOnly));
        mail_splitter splitter(device);
        mail_place first, second;
        QVERIFY(splitter.next(first) && splitter.next(second));
        QCOMPARE(first.length, from.size() + filler + 2);
        QCOMPARE(second.offset, first.length);
        QVERIFY(!splitter.next(second));
    }
}

void test_reading::dates_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("seconds");
    const auto row = [](const char *text, const char *seconds) {
        QTest::newRow(text) << QByteArray(text) << QByteArray(seconds);
    };
    row("Mon, 1 Jan 2024 10:11:12 +0100", "1704100272");
    row("1 Jan 24 10:11 EST", "1704121860");
    row("Mon, 01-Jan-2024 10:11:12 GMT (comment (nested))", "1704103872");
    row("Mon Jan  1 10:11:12 2024", "1704103872 no zone");
    row("Mon Jan 01 2024 10:11:12 GMT+0100 (CET)", "1704100272");
    row("Mon, 1 Jan 2024 10:11:12 CET", "1704103872 no zone");
    row("1 Jan 2024 10:11:12 PM -600", "1704168672");
    row("2024-01-01T10:11:12+01:00", "1704100272");
    row("2024-01-01 10:11", "1704103860 no zone");
    row("20240101T101112Z", "1704103872");
    row("11-04-2023", "");
    row("2024-01-01", "");
    row("31 Feb 2024 10:11:12 +0000", "");
    row("1 Jan 2024 24:00:00 +0000", "");
    row("yesterday", "");
    row("", "");
}

void test_reading::dates()
{
    QFETCH(QByteArray, text);
    const std::optional<mail_date> date = parse_mail_date(text);
    QTEST(date ? QByteArray::number(date->seconds) + (date->has_zone ? "" : " no zone") : QByteArray(), "seconds");
}

void test_reading::texts_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char *name, const QByteArray &given, const QByteArray &expected) {
        QTest::newRow(name) << given << expected;
    };
    row("adjacent padded words", QByteArray("=?utf-8?B?w6Q=?= =?utf-8?B?w7Y=?="), QByteArray("äö"));
    row("no padding", QByteArray("=?utf-8?B?w6Q?="), QByteArray("ä"));
    row("a character in two words", QByteArray("=?utf-8?Q?=C3?= =?utf-8?Q?=A4?="), QByteArray("ä"));
    row("words and text", QByteArray("a =?iso-8859-1*de?q?=E4_b?= c=?x"), QByteArray("a ä b c=?x"));
    row("unknown set", QByteArray("=?x-none?Q?=E4?="), QByteArray("ä"));
    row("undeclared", QByteArray("\xC3\xA4"), QByteArray("ä"));
    row("undeclared, of the mail's set", QByteArray("\xE4"), QByteArray("д"));
    row("raw in a word", QByteArray("=?iso-8859-1?Q?\xE4?="), QByteArray("ä"));
}

void test_reading::texts()
{
    QFETCH(QByteArray, value);
    QByteArrayList problems;
    field_context context = {value == "\xE4" ? "windows-1251" : "", problems};
    QTEST(decoded_text(value, "The subject", context), "text");
    QCOMPARE(problems.isEmpty(), !QByteArray(QTest::currentDataTag()).startsWith("un"));
}

void test_reading::addresses_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QByteArray>("found");
    const auto row = [](const char *value, const char *found) {
        QTest::newRow(value) << QByteArray(value) << QByteArray(found);
    };
    row("A B <a@b>, \"x, y\" <c@d> (com)", "A B=a@b|x, y=c@d");
    row("G: a@b, X <c@d>;, e@f", "=a@b|X=c@d|=e@f");
    row("undisclosed-recipients:;", "");
    row("=?utf-8?B?w6Q=?= =?utf-8?B?w7Y=?= <a@b>", "äö=a@b");
    row("\"=?utf-8?Q?a=C3=A4?=\" <a@b>", "aä=a@b");
    row("a@b; \"x;\" <c@d>", "=a@b|x;=c@d");
    row("<@r1,@r2:a@b>, foo@bar <x@y", "=a@b|foo@bar=x@y");
    row("\xC3\xA4 <a@b>", "ä=a@b");
    row("<>", "");
}

void test_reading::addresses()
{
    QFETCH(QByteArray, value);
    QByteArrayList problems, found;
    field_context context = {{}, problems};
    for (const mail_address &each : decoded_addresses({value}, "to", context)) {
        found.append(each.name + '=' + each.address);
        QCOMPARE(each.position, found.size());
    }
    QTEST(found.join('|'), "found");
}

void test_reading::names_data()
{
    QTest::addColumn<QByteArray>("parameter");
    QTest::addColumn<QByteArray>("name");
    const auto row = [](const char *parameter, const char *name) {
        QTest::newRow(parameter) << QByteArray(parameter) << QByteArray(name);
    };
    row("name=\"a b.PDF\"", "a b.PDF");
    row("name=a b.pdf", "a b.pdf");
    row("name=\"=?utf-8?B?w6Q=?= =?utf-8?B?w7Y=?=\"", "äö");
    row("name==?utf-8?Q?x=C3=A4?=", "xä");
    row("name*0*=utf-8''a%20; name*1*=b%C3%A4; name*2=\"c.pdf\"", "a bäc.pdf");
    row("name*=iso-8859-1'de'%E4.txt", "ä.txt");
    row("name=\xC3\xA4.txt", "ä.txt");
    row("name=../../x", "../../x");
    row("name=\"C:\\TEMP\\a \\\"b\\\".png\"", "C:\\TEMP\\a \"b\".png");
}

void test_reading::names()
{
    QFETCH(QByteArray, parameter);
    QByteArrayList problems;
    field_context context = {{}, problems};
    QTEST(content_type("a/b; x=y; " + parameter, context).name, "name");
    QTEST(content_disposition("attachment; file" + parameter.replace("; ", "; file"), context).name, "name");
}

void test_reading::ids_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QByteArray>("ids");
    const auto row = [](const char *name, const QByteArray &given, const QByteArray &expected) {
        QTest::newRow(name) << given << expected;
    };
    row("several @", QByteArray("<a@b@c>"), QByteArray("a@b@c"));
    row("odd ones between", QByteArray("<a> x <b@c>,<d e@f> <"), QByteArray("a|b@c|de@f"));
    row("neither brackets nor @", QByteArray("102.1"), QByteArray("102.1"));
    row("no brackets", QByteArray("a@b, c"), QByteArray("a@b,"));
}

void test_reading::ids()
{
    QFETCH(QByteArray, value);
    QTEST(message_ids(value).join('|'), "ids");
}

void test_reading::parts_data()
{
    QTest::addColumn<QByteArray>("mail");
    QTest::addColumn<QByteArray>("parts");
    const auto row = [](const char *name, const QByteArray &given, const QByteArray &expected) {
        QTest::newRow(name) << given << expected;
    };
    const QByteArray multi = "Content-Type: multipart/mixed; boundary=b\n\n";
    row("no fields", QByteArray("\nx\n"), QByteArray("1 text/plain text"));
    row("the mail ends at its closing boundary",
        QByteArray(multi + "--b\n\nx\n--b\nContent-Type: image/png\n\ny\n--b--").replace("\n", "\r\n"),
        QByteArray("1 text/plain text, 2 image/png [y]"));
    row("cut short, blanks after the boundary", multi + "--b \t\n\nx\n--b\n\ny",
        QByteArray("1 text/plain text, 2 text/plain [y]"));
    row("embedded", multi + "--b\nContent-Type: message/rfc822\n\nA: b\n\nx\n\n--b--\n",
        QByteArray("1 message/rfc822 [A: b\n\nx\n], 1.1 text/plain [x\n]"));
    row("digest", QByteArray("Content-Type: multipart/digest; boundary=b\n\n--b\n\nA: b\n\nx\n--b--"),
        QByteArray("1 message/rfc822 [A: b\n\nx], 1.1 text/plain [x]"));
    row("embedded, base64",
        "Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\n" + QByteArray("A: b\n\nx").toBase64(),
        QByteArray("1 message/rfc822 [A: b\n\nx], 1.1 text/plain [x]"));
    row("base64 without padding", QByteArray("Content-Type: a/b\nContent-Transfer-Encoding: BASE64 \n\nTWFu\nTWE"),
        QByteArray("1 a/b [ManMa]"));
    row("text after base64", QByteArray("Content-Type: a/b\nContent-Transfer-Encoding: base64\n\nTWE=\nfooter"),
        QByteArray("1 a/b [Ma]"));
    row("quoted-printable",
        QByteArray("Content-Type: a/b\nContent-Transfer-Encoding: quoted-printable\n\na=3Db=\r\nc=zz="),
        QByteArray("1 a/b [a=bc=zz]"));
    row("uuencode",
        QByteArray("Content-Type: a/b\nContent-Transfer-Encoding: x-uuencode\n\nx\n"
                   "begin 644 n\n#86)C\n`\nend\n"),
        QByteArray("1 a/b [abc]"));
    row("quoted From lines", QByteArray("Content-Type: a/b\n\n>From x\n>>From y\n>Fromz"),
        QByteArray("1 a/b [From x\n>From y\n>Fromz]"));
    row("boundary never comes", multi + "x\n--c\n", QByteArray("1 multipart/mixed [x\n--c\n]"));
    row("type without a slash", QByteArray("Content-Type: text\n\nx"), QByteArray("1 text/plain text"));
}

void test_reading::parts()
{
    QFETCH(QByteArray, mail);
    QTEST(parts_of(mail), "parts");
}

void test_reading::beyond_the_limits_data()
{
    QTest::addColumn<QByteArray>("mail");
    QTest::addColumn<QByteArray>("problem");
    const auto row = [](const char *name, const QByteArray &given, const QByteArray &expected) {
        QTest::newRow(name) << given << expected;
    };
    QByteArray nested, lines;
    for (int i = 0; i < 10'000; ++i)
        nested += "Content-Type: multipart/mixed; boundary=b" + QByteArray::number(i) + "\n\n--b" +
                  QByteArray::number(i) + '\n';
    row("nested multiparts", nested, QByteArray("Parts are nested too deep"));
    row("nested mails", QByteArray("Content-Type: message/rfc822\n\n").repeated(10'000), "Parts are nested too deep");
    row("parts", "Content-Type: multipart/mixed; boundary=b\n\n" + QByteArray("--b\n\nx\n").repeated(1'000'000),
        "There are more than 10000 parts");
    row("header lines", QByteArray("A: b\n").repeated(1'000'000), "There are more than 100000 header lines");
    row("a long header line", "Subject: " + QByteArray(100'000'000, 'x'), "The header is too long");
    row("parameters", "Content-Type: a/b" + QByteArray("; a=b").repeated(100'000) + "\n\nx",
        "A Content-Type has too many parameters");
}

void test_reading::beyond_the_limits()
{
    QFETCH(QByteArray, mail);
    QFETCH(QByteArray, problem);
    QElapsedTimer clock;
    clock.start();
    const mail_record record =
        read_mail(QByteArray(from + mail), false, [](QByteArrayView, mail_part &part) { part.spool_file = "x"; });
    QVERIFY2(record.problems.join('\n').contains(problem), record.problems.join('\n').constData());
    QCOMPARE(record.sha256, QCryptographicHash::hash(QByteArray(from + mail), QCryptographicHash::Sha256).toHex());
    QVERIFY(record.parts.size() <= 10'000 && record.headers.size() <= 16 * 1024 * 1024);
}

void test_reading::faulty_workers()
{
    const QTemporaryDir directory;
    worker_pool pool(2, directory.path() + u'/', 300);
    constexpr qint64 count = 40;
    std::map<qint64, parsed_mail> answers;
    for (qint64 number = 1; qint64(answers.size()) < count && pool.failure().isEmpty();) {
        for (; number <= count && pool.has_room(); ++number)
            pool.give({number, number < 30 ? "x" : "y", number,
                       number == 10 || number == 11 ? 6
                       : number == 20               ? 7
                                                    : 1,
                       false});
        for (parsed_mail &answer : pool.collect(20))
            answers[answer.number] = std::move(answer);
    }
    QCOMPARE(pool.failure(), QString());
    for (qint64 number = 1; number <= count; ++number) {
        const QByteArray why = answers[number].given_up;
        QCOMPARE(why.contains("ended while"), number == 10 || number == 11);
        QCOMPARE(why.contains("took longer"), number == 20);
        QCOMPARE(answers[number].record.subject,
                 why.isEmpty() ? (number < 30 ? "x" : "y") + QByteArray::number(number) : QByteArray());
    }
}

/// One thread or several: the same rows, the same files.
void test_reading::whole_run()
{
    const QTemporaryDir directory;
    const QString mail = directory.filePath(QStringLiteral("s/Mail/a.mbox"));
    QByteArray file = "noise\n\n";
    for (int i = 0; i < 200; ++i)
        file += from + "Cc: b@x, c@x\nFrom: a@x\nSubject: s" + QByteArray::number(i % 7) +
                "\nX-Gmail-Labels: =?utf-8?Q?a=2C?=\n b\nReferences: <1@2> <3@4@5>\n"
                "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nWort" +
                QByteArray::number(i) +
                "\n--b\nContent-Type: text/html\n\n<p>Absatz\n--b\nContent-Type: a/b; name=x.PDF\n\n" +
                QByteArray::number(i % 50) + "\n--b--\n\n";
    write_file(mail, file);
    QStringList results;
    for (const QString &threads : {QStringLiteral("1"), QStringLiteral("3")}) {
        const QString result = directory.filePath(threads);
        QCOMPARE(QProcess::execute(QStringLiteral(GMAIL_HOST),
                                   {QStringLiteral("read"), QStringLiteral("--quiet"), QStringLiteral("--threads"),
                                    threads, directory.filePath(QStringLiteral("s")), result}),
                 0);
        const QString folder = result + QStringLiteral("/Artifacts_Result/Gmail/");
        QCOMPARE(files_in(folder), QStringList({QStringLiteral("Mail.sqlite")}));
        QCOMPARE(files_in(folder + QStringLiteral("Parts")).size(), 50);
        results.append(QString::fromLatin1(
            QCryptographicHash::hash(read_file(folder + QStringLiteral("Mail.sqlite")), QCryptographicHash::Md5)
                .toHex()));
        const QString database = folder + QStringLiteral("Mail.sqlite");
        QCOMPARE(
            rows_of(database, QStringLiteral("select count(*), sum(length), min(\"offset\"), max(ordinal) from mail")),
            QStringList({QStringLiteral("200|%1|7|200").arg(file.size() - 7)}));
        QCOMPARE(
            rows_of(database, QStringLiteral("select subject, text, html, thread_id, substr(problems, 1, 9) from mail "
                                             "where id = 1")),
            QStringList({QStringLiteral("s0|Wort0|<p>Absatz|NULL|The file ")}));
        QCOMPARE(rows_of(database, QStringLiteral("select label from label where mail = 3")),
                 QStringList({QStringLiteral("a"), QStringLiteral("b")}));
        QCOMPARE(rows_of(database, QStringLiteral("select path, is_text, size, file like 'Parts/%.pdf' from part where "
                                                  "mail = 120")),
                 QStringList({QStringLiteral("1|1|7|NULL"), QStringLiteral("2|1|9|NULL"), QStringLiteral("3|0|2|1")}));
        QCOMPARE(rows_of(database, QStringLiteral("select rowid from mail_search where mail_search match 'wort77'")),
                 QStringList({QStringLiteral("78")}));
        QCOMPARE(rows_of(database, QStringLiteral("pragma foreign_key_check")), QStringList());
        QVERIFY(run_sql(database, {QStringLiteral("insert into mail_search(mail_search, rank) "
                                                  "values('integrity-check', 1)")})); // words and texts agree
    }
    QCOMPARE(results.at(0), results.at(1));
}

void test_reading::kept_after_a_cancel()
{
    const QTemporaryDir directory;
    const QString mail = directory.filePath(QStringLiteral("s/Mail/a.mbox"));
    write_file(mail, QByteArray(from + "\n" + QByteArray(2000, 'x') + "\n\n").repeated(30'000));
    QProcess process;
    process.start(QStringLiteral(GMAIL_HOST), {QStringLiteral("read"), QStringLiteral("--quiet"),
                                               directory.filePath(QStringLiteral("s")), directory.path()});
    const QString database = directory.filePath(QStringLiteral("Artifacts_Result/Gmail/Mail.sqlite"));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(database).size() > 1'000'000, 60'000);
    QElapsedTimer clock;
    clock.start();
    process.terminate();
    QVERIFY(process.waitForFinished(30'000));
    QVERIFY(clock.elapsed() < 5'000);
    QCOMPARE(process.exitCode(), 143);
    QVERIFY(rows_of(database, QStringLiteral("select count(*) > 100 and max(ordinal) = count(*) from mail")) ==
            QStringList({QStringLiteral("1")}));
    QCOMPARE(QDir(directory.filePath(QStringLiteral("Artifacts_Result/Gmail/Parts")))
                 .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList());
}

void test_reading::refusals()
{
    const QTemporaryDir directory;
    write_file(directory.filePath(QStringLiteral("s/Mail/a.mbox")), from + "\nx");
    const auto read = [&](const QStringList &options) {
        QProcess process;
        process.start(QStringLiteral(GMAIL_HOST),
                      QStringList({QStringLiteral("read"), QStringLiteral("--quiet"),
                                   directory.filePath(QStringLiteral("s")), directory.filePath(QStringLiteral("r"))}) +
                          options);
        process.waitForFinished();
        return process.exitCode();
    };
    const QString database = directory.filePath(QStringLiteral("r/Artifacts_Result/Gmail/Mail.sqlite"));
    const auto mails = [&] { return rows_of(database, QStringLiteral("select count(*) from mail")).value(0); };
    QCOMPARE(read({}), 0);
    QCOMPARE(read({}), 5);
    QCOMPARE(mails(), QStringLiteral("1"));
    QCOMPARE(read({QStringLiteral("--append")}), 0);
    QCOMPARE(mails(), QStringLiteral("2"));
    QCOMPARE(read({QStringLiteral("--clear")}), 0);
    QCOMPARE(mails(), QStringLiteral("1"));
    QVERIFY(run_sql(database, {QStringLiteral("pragma user_version = 99")}));
    QCOMPARE(read({QStringLiteral("--append")}), 5);
    write_file(database, "something else");
    QCOMPARE(read({QStringLiteral("--append")}), 5);
    QCOMPARE(read_file(database), QByteArray("something else"));
}

/// Generated mail, and every part's bytes, date, address and subject that Python finds in it.
void test_reading::same_as_python()
{
    QProcess process;
    process.start(QStringLiteral("python3"),
                  {QStringLiteral(SOURCE_TREE "/tests/host/compare_mail.py"), QStringLiteral(GMAIL_HOST),
                   QStringLiteral("--count"), QStringLiteral("100")});
    QVERIFY(process.waitForFinished(240'000));
    QVERIFY2(process.exitCode() == 0, process.readAllStandardOutput().constData());
}

int main(int argc, char *argv[])
{
    if (argc > 1 && QByteArrayView(argv[1]) == "read-worker")
        return run_faulty_worker();
    QCoreApplication application(argc, argv);
    test_reading tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "test_reading.moc"
