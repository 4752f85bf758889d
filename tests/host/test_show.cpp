/// `gmail_host show` as an examiner uses it: filters, layouts, and what hostile mails must not do to a terminal.
#include "host/results/time_text.h"
#include "tests/support/result_with_mail.h"
#include "tests/support/support.h"

#include <QDir>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

class test_show : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { make_result_with_mail(directory.path()); }
    void rows_data();
    void rows();
    void wrong_usage_data();
    void wrong_usage();
    void overview();
    void one_mail();
    void on_a_terminal();
    void full_disk_and_closed_pipe();
    void without_mail();
    void periods_data();
    void periods();

private:
    QString result() const { return directory.filePath(u"result"_s); }
    int status = -1;
    QString errors;
    QString show(const QStringList &arguments);
    QString in_shell(const QString &command);

    QTemporaryDir directory;
};

QString test_show::show(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(GMAIL_HOST), QStringList{u"show"_s, result()} + arguments);
    process.waitForFinished();
    status = process.exitCode();
    errors = QString::fromUtf8(process.readAllStandardError());
    return QString::fromUtf8(process.readAllStandardOutput());
}

QString test_show::in_shell(const QString &command)
{
    QProcess process;
    process.start(u"bash"_s, {u"-c"_s, QString(command).replace(
                                           u"SHOW"_s, u"%1 show %2"_s.arg(QStringLiteral(GMAIL_HOST), result()))});
    process.waitForFinished();
    errors = QString::fromUtf8(process.readAllStandardError());
    return QString::fromUtf8(process.readAllStandardOutput());
}

void test_show::rows_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("expected"); ///< rows after the headings, blanks for the tabs
    QTest::newRow("all") << u"--columns INT"_s << u"1 2 3"_s;
    QTest::newRow("columns") << u"--columns timestamp,date_sent,INT"_s
                             << u"2024-01-08T08:30:00Z  1 0  2  2024-01-09T08:30:00Z 3"_s;
    QTest::newRow("equal") << u"--where subject=First --columns INT"_s << u"1"_s;
    QTest::newRow("number") << u"--where int=2 --columns INT"_s << u"2"_s;
    QTest::newRow("empty or NULL") << u"--where to_list= --columns INT"_s << u"2 3"_s;
    QTest::newRow("contains, in any case") << u"--where from_list~änne --columns INT"_s << u"3"_s;
    QTest::newRow("two conditions") << u"--where subject~i --where account_id=me --columns INT"_s << u"1"_s;
    QTest::newRow("a day") << u"--where timestamp=2024-01-08 --columns INT"_s << u"1"_s;
    QTest::newRow("after, by any time") << u"--after 2024-01-08T08:30:00Z --columns INT"_s << u"1 3"_s;
    QTest::newRow("before, and no rows without a time") << u"--before 2024-01-09 --columns INT"_s << u"1"_s;
    QTest::newRow("sender's name in the row") << u"--from berg --columns INT"_s << u"1"_s;
    QTest::newRow("sender's address in the mail") << u"--from carl@ --columns INT"_s << u"2"_s;
    QTest::newRow("recipient") << u"--to bert@example --columns INT"_s << u"1"_s;
    QTest::newRow("search") << u"--search hello --columns INT"_s << u"1"_s;
    QTest::newRow("search, several words") << u"--search bert|hel* --columns INT"_s << u"1"_s;
    QTest::newRow("search, words together") << u"--search \"bert|hello\" --columns INT"_s << u""_s;
    QTest::newRow("search, operators are words") << u"--search NOT|(\" --columns INT"_s << u""_s;
    QTest::newRow("label") << u"--label wÖrk --columns INT"_s << u"1"_s;
    QTest::newRow("sorted") << u"--sort subject --reverse --columns INT --limit 2"_s << u"3 1"_s;
    QTest::newRow("mails") << u"mail --from anna --columns id,date"_s
                           << u"1 2024-01-08T08:30:00Z 3 2024-01-10T08:30:00Z"_s;
    QTest::newRow("of mails, by their date") << u"address --after 10.1.2024 --columns mail,role"_s << u"3 from"_s;
    QTest::newRow("of mails, by label") << u"part --label inbox --columns mail,path"_s << u"1 1"_s;
    QTest::newRow("escaped") << u"--where INT=2 --columns subject,message_text"_s
                             << u"\\x1B[31mred two\\x0Alines, \"quoted\""_s;
}

void test_show::rows()
{
    QFETCH(QString, arguments);
    QFETCH(const QString, expected);
    if (arguments.startsWith(u"--"))
        arguments.prepend(u"messages ");
    QStringList list = arguments.split(u' ');
    for (QString &each : list)
        each.replace(u'|', u' ');
    QStringList lines = show(list).split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(errors, QString());
    QCOMPARE(status, 0);
    QVERIFY(!lines.isEmpty());
    lines.removeFirst();
    QCOMPARE(lines.join(u' ').replace(u'\t', u' '), expected);
}

void test_show::wrong_usage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("words");
    QTest::newRow("table") << QStringList{u"mesages"_s} << u"did you mean \"messages\"?"_s;
    QTest::newRow("column") << QStringList{u"messages"_s, u"--columns"_s, u"sbject"_s}
                            << u"did you mean \"subject\"?"_s;
    QTest::newRow("where") << QStringList{u"messages"_s, u"--where"_s, u"subject"_s} << u"COLUMN=TEXT"_s;
    QTest::newRow("ambiguous time") << QStringList{u"messages"_s, u"--after"_s, u"01/02/2024"_s} << u"is not a time"_s;
    QTest::newRow("no times") << QStringList{u"accounts"_s, u"--after"_s, u"2024"_s} << u"has no times"_s;
    QTest::newRow("not mails") << QStringList{u"cookies"_s, u"--search"_s, u"x"_s} << u"not about mails"_s;
    QTest::newRow("label") << QStringList{u"messages"_s, u"--label"_s, u"Inbux"_s} << u"did you mean \"Inbox\"?"_s;
    QTest::newRow("mail") << QStringList{u"mail"_s, u"4"_s} << u"ids go up to 3"_s;
    QTest::newRow("id of a row") << QStringList{u"messages"_s, u"1"_s} << u"--where INT=1"_s;
    QTest::newRow("filter without a table") << QStringList{u"--search"_s, u"x"_s} << u"need a table"_s;
}

void test_show::wrong_usage()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, words);
    QCOMPARE(show(arguments), QString());
    QCOMPARE(status, 2);
    QVERIFY2(errors.contains(words) && errors.count(u'\n') == 1, qPrintable(errors));
}

void test_show::overview()
{
    const QString text = show({}).simplified();
    QCOMPARE(status, 0);
    for (const char *piece :
         {"messages 3 2024-01-08T08:30:00Z 2024-01-09T08:30:00Z 1",
          "mail 3 2024-01-08T08:30:00Z 2024-01-10T08:30:00Z 1", "me messages 2", "Source2 /db/m.db messages 1",
          "Inbox 2", "the last mail of a file has no row 1", "subject other 1"})
        QVERIFY2(text.contains(QLatin1StringView(piece)), piece);
}

void test_show::one_mail()
{
    const QString text = show({u"mail"_s, u"1"_s});
    QCOMPARE(status, 0);
    for (const char *piece : {"From         Anna Berg <anna@example.org>\n", "Date         2024-01-08T08:30:00Z\n",
                              "Labels       Inbox, Wörk\n", "\n  From here on it is quoted.\n", "text/plain",
                              "message_text       Hello Bert,"})
        QVERIFY2(text.contains(QString::fromUtf8(piece)), piece);
    QVERIFY(show({u"mail"_s, u"3"_s}).contains(u"Row: none (the last mail of a file has no row)"));
    QVERIFY(show({u"mail"_s, u"3"_s}).contains(u"\n  Only in the mail.\n"));
    const QString hostile = show({u"mail"_s, u"2"_s});
    QVERIFY(hostile.contains(u"Subject      \\x1B[31mred\\u202E\n") && hostile.contains(u"=1+1\\x07\n"));
    QVERIFY(hostile.contains(u"the first line that begins so was taken"));
}

/// No line is longer than the terminal is wide, also with characters that fill two columns.
void test_show::on_a_terminal()
{
    for (const int width : {30, 60, 200}) {
        const QString text = in_shell(u"COLUMNS=%1 script -qec 'SHOW messages' /dev/null"_s.arg(width));
        const QStringList lines = text.split(u"\r\n"_s, Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 5);
        QVERIFY(lines.first().startsWith(u"INT  timestamp") && lines.last() == u"3 rows");
        QVERIFY(!lines.first().contains(u"email_attachments")); // which no row has
        for (const QString &line : lines) {
            const qsizetype wide = line.count(QRegularExpression(u"[日本]"_s));
            QVERIFY2(line.size() + wide <= width, qPrintable(line));
            QVERIFY(!line.contains(u'\x1b'));
        }
    }
}

void test_show::full_disk_and_closed_pipe()
{
    QCOMPARE(in_shell(u"SHOW messages > /dev/full; echo $?"_s), u"8\n"_s);
    QVERIFY(errors.contains(u"standard output"));
    in_shell(u"SHOW messages | true"_s);
    QCOMPARE(errors, QString());
}

void test_show::without_mail()
{
    QTemporaryDir other;
    make_result_with_mail(other.path());
    QFile::remove(other.filePath(u"result/Artifacts_Result/Gmail/Mail.sqlite"_s));
    QDir(directory.path()).rename(u"result"_s, u"kept"_s);
    QVERIFY(QFile::link(other.filePath(u"result"_s), result()));
    QVERIFY(show({}).contains(u"not available"));
    QCOMPARE(status, 0);
    QCOMPARE(show({u"messages"_s, u"--from"_s, u"anna"_s, u"--columns"_s, u"INT"_s}), u"INT\n1\n"_s);
    for (const QStringList &needs_mail :
         {QStringList{u"mail"_s}, QStringList{u"mail"_s, u"1"_s}, QStringList{u"messages"_s, u"--search"_s, u"x"_s}}) {
        QCOMPARE(show(needs_mail), QString());
        QCOMPARE(status, 5);
        QVERIFY(errors.contains(u"gmail_host read"));
    }
    QFile::remove(result());
    QDir(directory.path()).rename(u"kept"_s, u"result"_s);
}

void test_show::periods_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("begin");
    QTest::addColumn<qint64>("seconds"); ///< -1 when the text is not a time
    const auto add = [](const char *text, qint64 begin, qint64 length) {
        QTest::newRow(text) << QString::fromLatin1(text) << begin << length;
    };
    constexpr qint64 day = 86400, january_8 = 1704672000;
    add("2024", 1704067200, 366 * day);
    add("2024-02", 1706745600, 29 * day);
    add("2024-01-08", january_8, day);
    add("20240108", january_8, day);
    add("8.1.2024", january_8, day);
    add("2024-01-08T08:30Z", january_8 + 30600, 60);
    add("2024-01-08 08:30:15", january_8 + 30615, 1);
    add("2024-01-08T08:30:15+01:00", january_8 + 27015, 1);
    add("08.01.2024 08:30 -0130", january_8 + 36000, 60);
    add("@1704672000", january_8, 1);
    add("1704672000", january_8, 1);
    for (const char *wrong : {"", "01/02/2024", "2024-13", "2024-02-30", "2024-01-08T24:00", "2024 08:30", "yesterday"})
        add(wrong, 0, -1);
}

void test_show::periods()
{
    QFETCH(const QString, text);
    QFETCH(const qint64, begin);
    QFETCH(const qint64, seconds);
    const auto found = period_of(text);
    QCOMPARE(found.has_value(), seconds >= 0);
    if (found) {
        QCOMPARE(found->begin, begin);
        QCOMPARE(found->end - found->begin, seconds);
    }
}

QTEST_GUILESS_MAIN(test_show)
#include "test_show.moc"
