/// Evidence made to keep a run busy, to lead it astray or to hide something: the log reports it, and everything else is
/// read.
#include "common/cancel_flag.h"
#include "common/evidence_root.h"
#include "common/log_line.h"
#include "tests/support/support.h"

#include <QDir>
#include <QDirIterator>
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
    void view_in_place_of_accounts();
    void names_that_are_no_text();
    void walk_lists_what_qt_lists();
    void walk_sees_a_cancel();
    void links_and_pipes();
    void link_beside_a_trimmed_name();
    void no_result_directory_data();
    void no_result_directory();
};

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
    QCOMPARE(log.lines_with(QStringLiteral("refused: Account is not an ordinary table")).size(), 1);
    QCOMPARE(rows_of(session.database(), QStringLiteral("select display_name, account_id from mailbox")),
             QStringList(QStringLiteral("Inbox|")));
}

/// Such a name cannot be opened through Qt, which skips it: it must not go missing silently.
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

/// Evidence is walked in the order and with the entries of Qt's own walk, which rows have always followed.
void test_hostile_evidence::walk_lists_what_qt_lists()
{
    const plugin_session session(QStringLiteral("gTakeoutOS"));
    const QString mail = session.source(QStringLiteral("Mail"));
    for (const char *file : {"a", "b/c/d", "b/e", ".hidden", ".hid/f", "g h /i ", "\xC3\xA4/j"})
        write_file(mail + u'/' + QString::fromUtf8(file), "x");
    QDir().mkpath(mail + u"/empty");
    QVERIFY(QFile::link(QStringLiteral("b"), mail + u"/to_directory") &&
            QFile::link(QStringLiteral("a"), mail + u"/to_file") &&
            QFile::link(QStringLiteral("nothing"), mail + u"/dangling"));
    QStringList expected;
    for (QDirIterator entries(mail, QDirIterator::Subdirectories); entries.hasNext();) {
        const QString path = entries.next();
        if (entries.fileName() != u"." && entries.fileName() != u"..")
            expected.append(path + (entries.fileInfo().isDir() ? u"/" : u""));
    }
    QStringList found;
    const evidence_root root(session.source());
    QVERIFY(root.walk(mail, cancel_flag(), {}, [&found](const evidence_entry &entry) {
        found.append(entry.path() + (entry.is_directory ? u"/" : u""));
    }));
    QCOMPARE(found, expected);
    QCOMPARE(found.size(), 12);
}

/// If the flag were copied, or became a bool on its way, its change would never be seen.
void test_hostile_evidence::walk_sees_a_cancel()
{
    static_assert(!std::is_copy_constructible_v<cancel_flag> && !std::is_convertible_v<cancel_flag, bool>);
    const plugin_session session(QStringLiteral("gTakeoutOS"));
    for (const char *file : {"a/1", "a/2", "b/3"})
        write_file(session.source(QString::fromLatin1(file)), "x");
    cancel_flag cancelled;
    int taken = 0;
    QVERIFY(!evidence_root().walk(session.source(), cancelled, {}, [&](const evidence_entry &) {
        ++taken;
        cancelled.set(true);
    }));
    QCOMPARE(taken, 1);
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

/// Blanks are removed from a path before it is opened: the opened path must be inside, not the listed one.
void test_hostile_evidence::link_beside_a_trimmed_name()
{
    plugin_session session(QStringLiteral("gTakeoutOS"));
    const QString outside = session.source(QStringLiteral("../outside.mbox"));
    const QString link = session.source(QStringLiteral("Mail/x.mbox"));
    write_file(outside, "From a\nSubject: outside\nFrom b\n");
    write_file(link + u' ', "From a\nSubject: inside\nFrom b\n");
    QVERIFY(QFile::link(outside, link));
    const log_capture log;
    session.prepare({QStringLiteral("messages")});
    session.extract();
    QCOMPARE(rows_of(session.database(), QStringLiteral("select count(*) from messages")),
             QStringList(QStringLiteral("0")));
    const QString me = QStringLiteral("gmail_gtakeoutos::start_mbox_parsing_for_plugin: [start_mbox_parsing] ");
    QCOMPARE(log.lines_with(QStringLiteral("start_mbox_parsing_for_plugin")),
             QStringList(
                 {me + u"-Start", me + u"File Open Failed:" + link, me + u"Error:The link leads out of the source"}));
}

/// A host that never names a result directory, run from inside the evidence.
void test_hostile_evidence::no_result_directory_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::newRow("Android") << "androidOS";
    QTest::newRow("Takeout") << "gTakeoutOS";
}

void test_hostile_evidence::no_result_directory()
{
    QFETCH(QString, scheme);
    plugin_session session(scheme);
    const QString store = session.source(application + u"db/EmailProvider.db");
    QVERIFY(run_sql(store, provider_tables));
    write_file(store + u"-wal", "");
    write_file(session.source(QStringLiteral("Mail/a.mbox")),
               "From a\nfilename=\"EmailProvider.db\"\r\n\r\nQQ==\nFrom b\n");
    const QByteArray before = read_file(store);
    const log_capture log;
    session.plugin.pub_set_source_info(session.source_info);
    session.plugin.pub_set_engine_type(0);
    session.plugin.pub_set_essential_for_talvo_bench_extraction(
        QStringLiteral("messages attachments mailbox accounts cookies").split(u' '), {});
    QDir::setCurrent(QFileInfo(store).path());
    session.extract();
    QCOMPARE(files_in(QFileInfo(store).path()),
             QStringList({QStringLiteral("EmailProvider.db"), QStringLiteral("EmailProvider.db-wal")}));
    QVERIFY(read_file(store) == before);
    QVERIFY(!log.lines_with(QStringLiteral("FAILED")).isEmpty());
}

QTEST_MAIN(test_hostile_evidence)
#include "test_hostile_evidence.moc"
