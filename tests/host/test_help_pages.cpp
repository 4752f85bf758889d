/// The manual page and the completion list every sub-command and option of the program's help.
#include "tests/support/support.h"

#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

class test_help_pages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void manual_lists_every_option();
    void completion_data();
    void completion();

private:
    static QString output_of(const QString &program, const QStringList &arguments);
};

QString test_help_pages::output_of(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

void test_help_pages::manual_lists_every_option()
{
    const QString manual = QString::fromUtf8(read_file(QStringLiteral(HELP_PAGES "gmail_host.1"))).remove(u'\\');
    static const QRegularExpression long_option(u"--[a-z-]+"_s),
        command(u"^  ([a-z]+) {2,}"_s, QRegularExpression::MultilineOption);
    qsizetype options = 0;
    const QString help = output_of(QStringLiteral(GMAIL_HOST), {u"--help"_s});
    for (const QRegularExpressionMatch &sub : command.globalMatch(help.sliced(help.indexOf(u"Subcommands:")))) {
        const qsizetype begin = manual.indexOf(u".SS gmail_host "_s + sub.captured(1));
        QVERIFY2(begin > 0, qPrintable(sub.captured(1)));
        const qsizetype end = manual.indexOf(u".SS", begin + 1);
        const QString section = manual.sliced(begin, (end < 0 ? manual.size() : end) - begin);
        for (const QRegularExpressionMatch &option :
             long_option.globalMatch(output_of(QStringLiteral(GMAIL_HOST), {sub.captured(1), u"--help"_s}))) {
            QVERIFY2(section.contains(option.captured()), qPrintable(sub.captured(1) + u' ' + option.captured()));
            ++options;
        }
    }
    QVERIFY(options > 50);
}

void test_help_pages::completion_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("words");
    QTest::newRow("command") << u"gmail_host ins"_s << u"inspect"_s;
    QTest::newRow("option") << u"gmail_host show r --se"_s << u"--search"_s;
    QTest::newRow("value") << u"gmail_host export r --format "_s << u"csv jsonl eml tln"_s;
    QTest::newRow("table") << u"gmail_host show r att"_s << u"attachments attachment_file"_s;
    QTest::newRow("file") << u"gmail_host verify "_s << u""_s; // left to the shell
}

void test_help_pages::completion()
{
    QFETCH(const QString, line);
    QFETCH(const QString, words);
    const QString script =
        u"source '" HELP_PAGES "gmail_host'; read -ra COMP_WORDS <<<\"$1\"; [[ $1 != *' ' ]] || "
        "COMP_WORDS+=(''); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _gmail_host; echo \"${COMPREPLY[*]}\""_s;
    QCOMPARE(output_of(u"bash"_s, {u"-c"_s, script, u"bash"_s, line}), words);
}

QTEST_GUILESS_MAIN(test_help_pages)
#include "test_help_pages.moc"
