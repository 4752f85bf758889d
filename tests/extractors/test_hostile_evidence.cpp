/// Evidence that is made to keep a run busy, to lead it astray or to hide something: what stands in the log, and that
/// everything else is read.
#include "tests/support/support.h"

#include <QDir>
#include <QTest>

#include <sys/stat.h>

namespace {

const QString application = QStringLiteral("apps/com.google.android.gm/");

const QStringList provider_tables = {
    QStringLiteral("create table Account(displayName, emailAddress, senderName, ringtoneUri)"),
    QStringLiteral("create table Mailbox(_id integer primary key, displayName, serverId, syncTime, lastTouchedTime, "
                   "messageCount, unreadCount, totalCount)"),
    QStringLiteral("insert into Mailbox(displayName) values('Inbox')"),
};

/// A select of all the columns that mails are read from, each of them `expression`.
QString as_mail(const QString &expression)
{
    const QStringList columns =
        QStringLiteral("_id displayName timeStamp subject flagAttachment messageId mailboxKey fromList toList ccList "
                       "bccList replyToList snippet flagSeen")
            .split(u' ');
    QStringList selected;
    for (const QString &column : columns)
        selected.append(expression + QLatin1StringView(" as ") + column);
    return QLatin1StringView("select ") + selected.join(QLatin1StringView(", "));
}

/// Steps that each name the one before twice, so that what is read doubles with every one.
QStringList doubling_views(int levels)
{
    QStringList views = {QStringLiteral("create view v0 as select 1 as x")};
    for (int i = 1; i <= levels; ++i)
        views.append(
            QStringLiteral("create view v%1 as select x from v%2 union all select x from v%2").arg(i).arg(i - 1));
    views.append(QStringLiteral("create view Message as %1 from v%2").arg(as_mail(QStringLiteral("x"))).arg(levels));
    return views;
}

QString doubling_common_tables(int levels)
{
    QString statement = QStringLiteral("create view Message as with c0 as (select 1 as x)");
    for (int i = 1; i <= levels; ++i)
        statement += QStringLiteral(", c%1 as (select x from c%2 union all select x from c%2)").arg(i).arg(i - 1);
    return statement + QStringLiteral(" %1 from c%2").arg(as_mail(QStringLiteral("x"))).arg(levels);
}

bool make_file(const QString &directory, const QByteArray &name, const QByteArray &content)
{
    write_file(directory + u"/made", content);
    const QByteArray made = QFile::encodeName(directory + u"/made");
    const QByteArray path = QFile::encodeName(directory) + '/' + name;
    return ::rename(made.constData(), path.constData()) == 0;
}

} // namespace

class test_hostile_evidence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void views_in_place_of_mails_data();
    void views_in_place_of_mails();
    void view_in_place_of_accounts();
    void names_that_are_no_text();
    void links_and_pipes();
};

void test_hostile_evidence::views_in_place_of_mails_data()
{
    QTest::addColumn<QStringList>("statements");
    QTest::addColumn<int>("rows"); // -1: refused
    const QString table = QStringLiteral("create table t(x)");
    const QString rows = QStringLiteral("insert into t values(1), (2), (3)");
    const QString view = QStringLiteral("create view Message as ");
    const QString x = as_mail(QStringLiteral("x"));
    QTest::newRow("plain") << QStringList({table, rows, view + x + u" from t where x > 1"}) << 2;
    QTest::newRow("view of a view") << QStringList({table, rows, QStringLiteral("create view v as select x from t"),
                                                    view + x + u" from v"})
                                    << 3;
    QTest::newRow("recursive") << QStringList(view +
                                              u"with recursive n(x) as (select 1 union all select x + 1 from n) " + x +
                                              u" from n")
                               << -1;
    QTest::newRow("product") << QStringList({table, rows, view + as_mail(QStringLiteral("a.x")) + u" from t a, t b"})
                             << -1;
    QTest::newRow("text out of nothing")
        << QStringList({table, rows, view + as_mail(QStringLiteral("hex(zeroblob(400000000))")) + u" from t"}) << -1;
    QTest::newRow("doubling views") << doubling_views(30) << -1;
    QTest::newRow("doubling common tables") << QStringList(doubling_common_tables(30)) << -1;
    QTest::newRow("doubling views, one of them quoted")
        << doubling_views(30).replaceInStrings(QStringLiteral("v29"), QStringLiteral("\"v\"\"29\"")) << -1;
    QTest::newRow("many views") << doubling_views(60).replaceInStrings(QStringLiteral(" union all select x from v"),
                                                                       QStringLiteral(" --"))
                                << -1;
}

void test_hostile_evidence::views_in_place_of_mails()
{
    QFETCH(QStringList, statements);
    QFETCH(int, rows);
    plugin_session session(QStringLiteral("androidOS"));
    QVERIFY(run_sql(session.source(application + u"db/EmailProvider.db"), provider_tables + statements));
    const log_capture log;
    session.prepare({QStringLiteral("messages"), QStringLiteral("mailbox")});
    session.extract();
    const QString refusal = QStringLiteral("refused: Message is a view that could run without end");
    QCOMPARE(log.lines_with(refusal).size(), rows < 0 ? 1 : 0);
    QCOMPARE(rows_of(session.database(), QStringLiteral("select count(*) from messages")),
             QStringList(QString::number(qMax(rows, 0))));
    QCOMPARE(rows_of(session.database(), QStringLiteral("select display_name from mailbox")),
             QStringList(QStringLiteral("Inbox")));
}

/// The account is looked up for the rows of other tables: they are read, without one.
void test_hostile_evidence::view_in_place_of_accounts()
{
    plugin_session session(QStringLiteral("androidOS"));
    QVERIFY(run_sql(
        session.source(application + u"db/EmailProvider.db"),
        provider_tables.mid(1) +
            QStringList(QStringLiteral("create view Account as with recursive n(i) as (select 1 union all select i + 1 "
                                       "from n) select i as emailAddress from n where i < 0"))));
    const log_capture log;
    session.prepare({QStringLiteral("mailbox")});
    session.extract();
    QCOMPARE(log.lines_with(QStringLiteral("refused: Account is a view that could run without end")).size(), 1);
    QCOMPARE(rows_of(session.database(), QStringLiteral("select display_name, account_id from mailbox")),
             QStringList(QStringLiteral("Inbox|")));
}

/// Such a name cannot be opened through Qt, which passes over it: it must not be missing without a word.
void test_hostile_evidence::names_that_are_no_text()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    write_file(session.source(QStringLiteral("Mail/deep/a.mbox")), "From a\nx\nFrom b\n");
    QVERIFY(make_file(session.source(QStringLiteral("Mail/deep")), "bad\xFF.mbox", "From a\nx\nFrom b\n"));
    const log_capture log;
    session.prepare({QStringLiteral("messages")});
    session.extract();
    QCOMPARE(log.lines_with(QStringLiteral("FAILED")),
             QStringList(u"gmail_gtakeoutos::parse_every_mbox: [name cannot be read] ----FAILED---- :" +
                         session.source(QStringLiteral("Mail/deep/bad%FF.mbox"))));
    QCOMPARE(rows_of(session.database(), QStringLiteral("select count(*) from messages")),
             QStringList(QStringLiteral("1")));
}

void test_hostile_evidence::links_and_pipes()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    const QString mail = session.source(QStringLiteral("Mail/"));
    const QString outside = session.source(QStringLiteral("../outside.mbox"));
    write_file(outside, "From a\nSubject: outside\nFrom b\n");
    write_file(mail + u"a.mbox", "From a\nSubject: inside\nFrom b\n");
    QVERIFY(QFile::link(outside, mail + u"out.mbox"));
    QVERIFY(QFile::link(QStringLiteral("a.mbox"), mail + u"inside.mbox"));
    QVERIFY(QFile::link(QStringLiteral("circle.mbox"), mail + u"circle.mbox"));
    QCOMPARE(::mkfifo(QFile::encodeName(mail + u"pipe.mbox").constData(), 0600), 0);
    const log_capture log;
    session.prepare({QStringLiteral("messages")});
    session.extract();
    QCOMPARE(rows_of(session.database(), QStringLiteral("select subject from messages")),
             QStringList({QStringLiteral("inside"), QStringLiteral("inside")}));
    QCOMPARE(log.lines_with(QStringLiteral("[link leads out of the source] ----FAILED---- :")).size(), 1);
    QVERIFY(log.lines_with(QStringLiteral("[start_mbox_parsing] -End")).size() == 2); // a pipe would never end
}

QTEST_MAIN(test_hostile_evidence)
#include "test_hostile_evidence.moc"
