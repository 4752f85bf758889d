/// Sources that are not ready directories, from the archive to the rows and the run's record. Archives are made here.
#include "host/sources/layout.h"
#include "host/sources/parts.h"
#include "tests/support/archives.h"
#include "tests/support/host_session.h"
#include "tests/support/support.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QProcess>
#include <QScopeGuard>
#include <QTest>

#include <archive.h>

namespace {

QByteArray three_messages()
{
    QByteArray mail;
    for (int i = 0; i < 3; ++i)
        mail += "From 1@xxx Mon Jan 01 10:00:00 +0000 2024\r\nSubject: " + QByteArray::number(i) + "\r\n\r\nText\r\n";
    return mail;
}

QList<packed> takeout()
{
    return {{"Takeout/archive_browser.html", "x"}, {"Takeout/Mail/All.mbox", three_messages()}};
}

QList<placed_member> members_of(const QList<placed_source> &sources)
{
    QList<placed_member> all;
    for (const placed_source &source : sources)
        all += source.members;
    return all;
}

} // namespace

class test_sources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { session = std::make_unique<host_session>(); }
    void layouts_data();
    void layouts();
    void parts_data();
    void parts();
    void archives_data();
    void archives();
    void refusals_data();
    void refusals();
    void members_of_other_kinds();
    void android_users();
    void record_and_verification();
    void what_verify_finds_data();
    void what_verify_finds();
    void record_of_a_directory();
    void backlog();
    void record_on_a_full_disk();
    void directory_in_use();

private:
    QString path(const QString &name) const { return session->path(name); }
    QString result(const QString &name) const { return session->result(name); }
    QJsonObject record() const { return session->record(); }
    int host(const QStringList &arguments, const QString &password = {}) { return session->run(arguments, password); }

    std::unique_ptr<host_session> session;
};

void test_sources::layouts_data()
{
    QTest::addColumn<QString>("paths"); // separated by blanks; empty files end in "!"
    QTest::addColumn<QString>("places");
    QTest::newRow("backup")
        << "apps/com.google.android.gm/db/EmailProvider.db apps/com.google.android.gm/r/x apps/o/db/x"
        << "0:apps/com.google.android.gm/db/EmailProvider.db";
    QTest::newRow("file system") << "img/data/data/com.google.android.gm/databases/mailstore.a.db-wal "
                                    "img/data/data/com.google.android.gm/shared_prefs/UnifiedEmail.xml "
                                    "img/data/data/com.google.android.gm/files/body/0/7.html "
                                    "img/data/data/com.google.android.gm/app_webview/Cookies"
                                 << "0:apps/com.google.android.gm/db/mailstore.a.db-wal "
                                    "1:apps/com.google.android.gm/sp/UnifiedEmail.xml "
                                    "3:apps/com.google.android.gm/r/app_webview/Cookies";
    QTest::newRow("newer cookies, no older ones") << "data/user/10/com.google.android.gm/app_webview/Default/Cookies"
                                                  << "0:apps/com.google.android.gm/r/app_webview/Cookies";
    QTest::newRow("newer cookies, empty older ones")
        << "apps/com.google.android.gm/r/app_webview/Cookies! apps/com.google.android.gm/r/app_webview/Default/Cookies"
        << "1:apps/com.google.android.gm/r/app_webview/Cookies";
    QTest::newRow("older cookies")
        << "apps/com.google.android.gm/r/app_webview/Cookies apps/com.google.android.gm/r/app_webview/Default/Cookies"
        << "0:apps/com.google.android.gm/r/app_webview/Cookies";
    QTest::newRow("mail folder")
        << "Takeout/Mail/a/b.mbox Takeout/Groups/x.mbox Takeout/Mail/.h.mbox Takeout/Mail/n.txt"
        << "0:Mail/a/b.mbox";
    QTest::newRow("mail folder of another language") << "p/Takeout/E-Mail/a.mbox p/Takeout/Kalender/x.ics"
                                                     << "0:Mail/a.mbox";
    QTest::newRow("two folders") << "Takeout/A/a.mbox Takeout/B/a.mbox"
                                 << "0:Mail/A/a.mbox 1:Mail/B/a.mbox";
    QTest::newRow("no Takeout") << "x/Mail/a.mbox y.mbox"
                                << "0:Mail/a.mbox";
    QTest::newRow("loose files") << "x/a.mbox y.mbox"
                                 << "0:Mail/x/a.mbox 1:Mail/y.mbox";
    QTest::newRow("nothing") << "Takeout/Mail/a.txt data/data/com.google.android.gm2/databases/EmailProvider.db"
                             << "";
}

void test_sources::layouts()
{
    QFETCH(QString, paths);
    QFETCH(QString, places);
    std::vector<listed_member> members;
    for (const QString &name : paths.split(u' ')) {
        const bool empty = name.endsWith(u'!');
        members.push_back({empty ? name.chopped(1) : name, empty});
    }
    QStringList placed;
    for (const placed_member &each : members_of(place_members(members)))
        placed.append(QString::number(each.index) + u':' + each.place);
    QCOMPARE(placed.join(u' '), places);
}

void test_sources::parts_data()
{
    QTest::addColumn<QString>("sources");
    QTest::addColumn<QString>("groups"); // or words of a refusal
    QTest::newRow("in order of numbers") << "takeout-1Z-002.zip x.zip takeout-1Z-001.zip"
                                         << "x.zip|takeout-1Z-001.zip takeout-1Z-002.zip";
    QTest::newRow("two exports") << "takeout-1Z-001.zip takeout-2Z-001.zip"
                                 << "takeout-1Z-001.zip|takeout-2Z-001.zip";
    QTest::newRow("one missing") << "takeout-1Z-003.zip takeout-1Z-001.zip"
                                 << "part 2 of the export is missing";
    QTest::newRow("the first missing") << "takeout-1Z-002.zip takeout-1Z-003.zip"
                                       << "part 1 of the export is missing";
    QTest::newRow("number given twice") << "a/takeout-1Z-001.zip b/takeout-1Z-001.zip"
                                        << "given twice";
}

void test_sources::parts()
{
    QFETCH(QString, sources);
    QFETCH(QString, groups);
    QList<given_group> found;
    const auto go_on = [] { return true; };
    const maybe_refusal refused = group_parts(sources.split(u' '), false, go_on, found);
    QStringList joined;
    for (const given_group &group : found)
        joined.append(group.paths.join(u' '));
    QVERIFY2(refused ? refused->text.contains(groups) : joined.join(u'|') == groups, qPrintable(joined.join(u'|')));
    QVERIFY(!group_parts(sources.split(u' '), true, go_on, found) || groups == u"given twice");
}

void test_sources::archives_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("password");
    const QByteArray tar = archive_of(takeout(), ARCHIVE_FORMAT_TAR_USTAR);
    const QString none;
    QTest::newRow("zip") << archive_of(takeout(), ARCHIVE_FORMAT_ZIP) << "zip" << none;
    QTest::newRow("zip, enciphered") << archive_of(takeout(), ARCHIVE_FORMAT_ZIP, ARCHIVE_FILTER_NONE, "p") << "zip"
                                     << "p";
    QTest::newRow("7z") << archive_of(takeout(), ARCHIVE_FORMAT_7ZIP) << "7z" << none;
    QTest::newRow("tar") << tar << "tar" << none;
    QTest::newRow("tgz") << archive_of(takeout(), ARCHIVE_FORMAT_TAR_USTAR, ARCHIVE_FILTER_GZIP) << "tar" << none;
    for (int version = 1; version <= 5; ++version) {
        const auto named = [version](const char *how) {
            return QByteArray("backup version " + QByteArray::number(version) + ", " + how);
        };
        QTest::newRow(named("plain")) << android_backup_of(tar, version, false) << "Android backup" << none;
        QTest::newRow(named("deflated")) << android_backup_of(tar, version, true) << "Android backup" << none;
        const QString password = QStringLiteral("pässword");
        QTest::newRow(named("enciphered"))
            << android_backup_of(tar, version, true, password) << "Android backup" << password;
    }
    QTest::newRow("mbox") << three_messages() << "mbox file" << none;
}

void test_sources::archives()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, type);
    QFETCH(QString, password);
    write_file(path(QStringLiteral("evidence")), bytes); // the name says nothing
    QCOMPARE(host({QStringLiteral("extract"), path(QStringLiteral("evidence")), path(QStringLiteral("r"))}, password),
             0);
    QCOMPARE(rows_of(result(QStringLiteral("Gmail.sqlite")), QStringLiteral("select subject from messages")),
             (QStringList{QStringLiteral("0"), QStringLiteral("1")}));
    const QJsonObject source = record()[u"sources"][0].toObject();
    QCOMPARE(source[u"given"][0][u"type"].toString(), type);
    const QJsonObject file = source[u"files"][0].toObject();
    QCOMPARE(file[u"member"].toString(),
             type == u"mbox file" ? QStringLiteral("evidence.mbox") : QStringLiteral("Takeout/Mail/All.mbox"));
    QCOMPARE(file[u"size"].toInteger(), three_messages().size());
    const QString hash =
        QString::fromLatin1(QCryptographicHash::hash(three_messages(), QCryptographicHash::Sha256).toHex());
    QCOMPARE(file[u"sha256_before"].toString(), hash);
    QCOMPARE(file[u"sha256_after"].toString(), hash);
    QCOMPARE(source[u"given"][0][u"sha256_before"].toString(), // made while the file is read for its members
             QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()));
    QCOMPARE(QDir(path(QStringLiteral("r"))).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
             QStringList(QStringLiteral("Artifacts_Result"))); // nothing staged is left
}

void test_sources::refusals_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("more");
    QTest::addColumn<QString>("password");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("said");
    const QByteArray tar = archive_of(takeout(), ARCHIVE_FORMAT_TAR_USTAR);
    const auto add = [](const char *name, const QByteArray &bytes, const char *said, const QStringList &more = {},
                        const QString &password = {},
                        int status = 4) { QTest::newRow(name) << bytes << more << password << status << said; };
    const auto cut = [](const QByteArray &bytes) { return bytes.first(bytes.size() * 2 / 3); };
    const QList<packed> large = {{"Takeout/Mail/a.mbox", QByteArray(65 * 1024 * 1024, '\0')}};
    add("empty", {}, "is empty");
    add("text", "Hello", "not recognised as a source");
    add("no mail", archive_of({{"Takeout/a.txt", "x"}}, ARCHIVE_FORMAT_ZIP), "not recognised as a source");
    add("zip without members", "PK\5\6" + QByteArray(18, '\0'), "is an empty archive");
    // One stored member, enciphered; the plug-in's libraries can write none.
    add("7z, enciphered",
        QByteArray::fromHex("377abcaf271c0004781e3ea210000000000000006a000000000000006ef54511f8a3c8c166297b8c98c4e080"
                            "02d20ab60104060001091000070b0100022406f1070112530f212e94b7c7f05d8f86b2cade87ce1414010001"
                            "000c090900080a0112f89f24000005011903000000110f0061002e006d0062006f0078000000190400000000"
                            "140a0100d8340065597bdd01150601002080a4810000"),
        "is an encrypted 7z archive, which is not supported", {}, QStringLiteral("p"));
    for (const auto &[name, format] :
         {std::pair("zip cut off", ARCHIVE_FORMAT_ZIP), {"7z cut off", ARCHIVE_FORMAT_7ZIP}})
        add(name, cut(archive_of(takeout(), format)), "is truncated");
    add("tar cut off", tar.first(1536 + 100), "is truncated");
    add("tgz cut off", cut(archive_of(takeout(), ARCHIVE_FORMAT_TAR_USTAR, ARCHIVE_FILTER_GZIP)), "is truncated");
    add("backup cut off", cut(android_backup_of(tar, 3, true)), "is truncated");
    add("enciphered backup cut off", android_backup_of(tar, 3, false, QStringLiteral("p")).chopped(16), "is truncated",
        {}, QStringLiteral("p"));
    add("backup of another version", android_backup_of(tar, 6, true), "not an Android backup of versions 1 to 5");
    add("backup, no password", android_backup_of(tar, 4, true, QStringLiteral("p")), "set GMAIL_HOST_PASSWORD");
    add("backup, wrong password", android_backup_of(tar, 4, true, QStringLiteral("p")), "password is wrong", {},
        QStringLiteral("q"));
    const QByteArray zip = archive_of(takeout(), ARCHIVE_FORMAT_ZIP, ARCHIVE_FILTER_NONE, "p");
    add("zip, no password", zip, "set GMAIL_HOST_PASSWORD");
    add("zip, wrong password", zip, "password is wrong", {}, QStringLiteral("q"));
    add("bomb", archive_of(large, ARCHIVE_FORMAT_ZIP), "unpacks to more than 200 times its size");
    add("too many bytes", tar, "unpacks to more than 10 bytes", {QStringLiteral("--max-bytes=10")});
    add("too many members", tar, "contains more than 1 members", {QStringLiteral("--max-members=1")});
    add("no room", tar, "no room left", {QStringLiteral("--keep-free=999999999999999")}, {}, 5);
}

void test_sources::refusals()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, more);
    QFETCH(QString, password);
    QFETCH(int, status);
    QFETCH(QString, said);
    write_file(path(QStringLiteral("evidence")), bytes);
    QCOMPARE(host(QStringList{QStringLiteral("extract"), path(QStringLiteral("evidence")), path(QStringLiteral("a/r")),
                              QStringLiteral("--quiet")} +
                      more,
                  password),
             status);
    QVERIFY2(session->errors.contains(said) && session->errors.count(u'\n') == 1, qPrintable(session->errors));
    QCOMPARE(session->output, QString());
    QVERIFY(!QFile::exists(path(QStringLiteral("a")))); // nothing half-done
}

void test_sources::members_of_other_kinds()
{
    const QByteArray mail = three_messages();
    const QByteArray long_name = "Takeout/Mail/" + QByteArray(300, 'n') + ".mbox";
    write_file(path(QStringLiteral("evil.tar")), archive_of({{"Takeout/Mail/a.mbox", mail},
                                                             {"../../Takeout/Mail/b.mbox", mail},
                                                             {"/Takeout/Mail/c.mbox", mail},
                                                             {"Takeout/Mail/d.mbox", {}, AE_IFLNK, "/etc/passwd"},
                                                             {"Takeout/Mail/e.mbox", {}, AE_IFIFO},
                                                             {"Takeout/Mail/a.mbox", mail + mail},
                                                             {"Takeout/Mail/x\ny.mbox", mail},
                                                             {long_name, mail}},
                                                            ARCHIVE_FORMAT_TAR_PAX_INTERCHANGE));
    QCOMPARE(host({QStringLiteral("extract"), path(QStringLiteral("evil.tar")), path(QStringLiteral("r"))}), 3);
    QCOMPARE(rows_of(result(QStringLiteral("Gmail.sqlite")),
                     QStringLiteral("select count(*), count(distinct source_file) from messages")),
             QStringList(QStringLiteral("6|3")));
    const QJsonObject skipped = record()[u"sources"][0][u"skipped_members"].toObject();
    for (const char16_t *reason :
         {u"link", u"device or pipe", u"absolute path", u"path with ..", u"second file for the same place"})
        QCOMPARE(skipped[QStringView(reason)].toInt(), 1);
    QVERIFY(session->output.contains(u"a.mbox: is not read, and differs from"));
    QVERIFY(!QFile::exists(path(QStringLiteral("Takeout"))));
}

void test_sources::android_users()
{
    QProcess::execute(QStringLiteral(SOURCE_TREE "/samples/make_android"), {path(QStringLiteral("backup"))});
    QList<packed> members;
    const QString root = path(QStringLiteral("backup/apps/com.google.android.gm/"));
    for (QDirIterator files(root, QDir::Files, QDirIterator::Subdirectories); files.hasNext();) {
        const QString file = files.next();
        QByteArray name = file.sliced(root.size()).toUtf8();
        for (const auto &[ours, theirs] :
             {std::pair("db/", "databases/"), {"sp/", "shared_prefs/"}, {"f/", "files/"}, {"r/", ""}})
            name = name.startsWith(ours) ? theirs + name.sliced(QByteArrayView(ours).size()) : name;
        members.append({"data/data/com.google.android.gm/" + name, read_file(file)});
        if (name.startsWith("databases/EmailProvider"))
            members.append({"data/user/10/com.google.android.gm/" + name, read_file(file)});
    }
    write_file(path(QStringLiteral("image")), archive_of(members, ARCHIVE_FORMAT_ZIP));
    QCOMPARE(host({QStringLiteral("extract"), path(QStringLiteral("image")), path(QStringLiteral("r"))}), 0);
    const QString counts = QStringLiteral("select source_count_name, count(*) from %1 group by 1");
    const QString database = result(QStringLiteral("Gmail.sqlite"));
    QCOMPARE(rows_of(database, counts.arg(u"messages")),
             (QStringList{QStringLiteral("Source1|6"), QStringLiteral("Source2|4")}));
    QCOMPARE(rows_of(database, counts.arg(u"accounts")), QStringList(QStringLiteral("Source1|2")));
    QCOMPARE(rows_of(database, counts.arg(u"cookies")), QStringList(QStringLiteral("Source1|2")));
    QCOMPARE(record()[u"sources"][1][u"user"].toString(), QStringLiteral("user 10"));
    for (const QJsonValue &table : record()[u"sources"][0][u"tables"].toArray())
        QCOMPARE(table[u"rows_expected"], table[u"rows_written"]);
}

void test_sources::record_and_verification()
{
    const QString mbox = path(QStringLiteral("source/Mail/a.mbox"));
    write_file(mbox, read_file(QStringLiteral(SOURCE_TREE
                                              "/samples/takeout/Takeout/Mail/All mail Including Spam and Trash.mbox")));
    const QStringList extract = {QStringLiteral("extract"),      QStringLiteral("--rows-only"),
                                 path(QStringLiteral("source")), path(QStringLiteral("r")),
                                 QStringLiteral("--examiner"),   QStringLiteral("E"),
                                 QStringLiteral("--case"),       QStringLiteral("7/24")};
    QCOMPARE(host(extract), 0);
    const QJsonObject first = record();
    QCOMPARE(first[u"state"].toString(), QStringLiteral("complete"));
    QCOMPARE(first[u"examiner"].toString() + first[u"case"].toString(), QStringLiteral("E7/24"));
    QVERIFY(first[u"ended"].toString().endsWith(u'Z'));
    QCOMPARE(first[u"attachments"].toArray().size(), 5);
    const QJsonObject mail = first[u"sources"][0][u"mbox_files"][0].toObject();
    QCOMPARE(mail[u"separators"].toInt() - mail[u"rows_written"].toInt(), 1);
    QCOMPARE(mail[u"differences"][0][u"reason"].toString(), QStringLiteral("last message of the file"));
    const QByteArray hash =
        QCryptographicHash::hash(read_file(result(QStringLiteral("run.json"))), QCryptographicHash::Sha256).toHex();
    QVERIFY(session->output.endsWith(QString(u' ' + QString::fromLatin1(hash) + u'\n')));

    const QStringList verify = {QStringLiteral("verify"), path(QStringLiteral("r"))};
    QCOMPARE(host(verify), 0);
    QVERIFY(
        session->output.endsWith(u"8 matches, 0 differs, 0 missing, 0 not reached, 0 not hashed, 0 not recorded\n"));
    const QString log = result(QStringLiteral("gmail.log"));
    write_file(log, read_file(log) + "a line of a run that was killed\n"); // after the part that the record covers
    QCOMPARE(host(verify), 0);
    QCOMPARE(host(extract + QStringList(QStringLiteral("--append"))), 0); // to the log, too
    QCOMPARE(host(verify), 0);
    QCOMPARE(session->output.count(u"matches  "), 13); // the attachments of both runs
    QCOMPARE(host(extract + QStringList{QStringLiteral("--clear"), QStringLiteral("--no-hash")}), 0);
    QVERIFY(record()[u"sources"][0][u"files"][0][u"sha256_before"].isNull());
    QCOMPARE(host(verify), 3);
    QVERIFY(session->output.contains(u"(run-2.json), emptied by a later run") &&
            session->output.count(u"not hashed  ") == 8);
}

void test_sources::what_verify_finds_data()
{
    QTest::addColumn<QString>("changed");  // below the test's directory, after a run
    QTest::addColumn<QByteArray>("bytes"); // null: the file is removed
    QTest::addColumn<QString>("verdict");
    QTest::addColumn<int>("status");
    const QString gmail = QStringLiteral("r/Artifacts_Result/Gmail/");
    QTest::newRow("attachment changed") << gmail + u"Attachments/logo.png" << QByteArray("x") << "differs" << 3;
    QTest::newRow("attachment gone") << gmail + u"Attachments/note.txt" << QByteArray() << "missing" << 3;
    QTest::newRow("attachment added") << gmail + u"Attachments/\rmatches" << QByteArray("x") << "not recorded" << 3;
    QTest::newRow("log changed") << gmail + u"gmail.log" << QByteArray("x") << "differs" << 3;
    QTest::newRow("source changed") << QStringLiteral("source/Mail/a.mbox") << QByteArray("From x\n") << "differs" << 3;
    QTest::newRow("source file gone") << QStringLiteral("source/Mail/a.mbox") << QByteArray() << "missing" << 3;
    QTest::newRow("source elsewhere") << QStringLiteral("source") << QByteArray() << "not reached" << 0;
    QTest::newRow("run in progress") << gmail + u"run.json" << QByteArray("in progress") << "" << 3;
    QTest::newRow("forged name") << gmail + u"run.json" << QByteArray("../../../source/Mail/a.mbox") << "" << 3;
    QTest::newRow("run cancelled") << gmail + u"run.json" << QByteArray("cancelled") << "" << 3;
}

void test_sources::what_verify_finds()
{
    QFETCH(QString, changed);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, verdict);
    write_file(
        path(QStringLiteral("source/Mail/a.mbox")),
        read_file(QStringLiteral(SOURCE_TREE "/samples/takeout/Takeout/Mail/All mail Including Spam and Trash.mbox")));
    QCOMPARE(host({QStringLiteral("extract"), path(QStringLiteral("source")), path(QStringLiteral("r"))}), 0);
    changed = path(changed);
    if (changed.endsWith(u"run.json"))
        bytes = read_file(changed).replace(bytes.startsWith("..") ? "Attachments/logo.png" : "complete", bytes);
    if (!bytes.isNull())
        write_file(changed, bytes);
    else if (!QFile::remove(changed))
        QDir(changed).removeRecursively();
    QTEST(host({QStringLiteral("verify"), path(QStringLiteral("r")), QStringLiteral("--quiet")}), "status");
    if (!verdict.isEmpty())
        QVERIFY2(session->output.contains(QString(u"1 " + verdict)) &&
                     session->output.contains(QString(u'\n' + verdict)),
                 qPrintable(session->output));
    QVERIFY(!session->output.contains(u'\r') && !session->output.contains(u".."));
}

void test_sources::record_of_a_directory()
{
    write_file(path(QStringLiteral("export/Takeout/Mail/a.mbox")), three_messages());
    QProcess process;
    process.setWorkingDirectory(session->directory());
    process.start(QStringLiteral(GMAIL_HOST),
                  {QStringLiteral("extract"), QStringLiteral("export"), QStringLiteral("r")});
    QVERIFY(process.waitForFinished(60000));
    const QJsonObject run = record();
    QCOMPARE(run[u"format"].toInt(), 1);
    QCOMPARE(run[u"working_directory"].toString(), QDir(session->directory()).canonicalPath());
    QCOMPARE(run[u"arguments"][1].toString(), QStringLiteral("export"));
    const QJsonObject file = run[u"sources"][0][u"files"][0].toObject();
    QCOMPARE(file[u"given_in"].toString(), path(QStringLiteral("export")));
    QCOMPARE(file[u"member"].toString(), QStringLiteral("Takeout/Mail/a.mbox"));
    QCOMPARE(run[u"log"][u"path"].toString(), QStringLiteral("gmail.log"));
    QCOMPARE(
        run[u"log"][u"sha256"].toString().toLatin1(),
        QCryptographicHash::hash(read_file(result(QStringLiteral("gmail.log"))), QCryptographicHash::Sha256).toHex());
}

/// As `deploy/` runs them: a list without a final newline, changed after its first task finished.
void test_sources::backlog()
{
    const auto run = [](const QString &tool, const QStringList &arguments) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("GMAIL_HOST"), QStringLiteral(GMAIL_HOST));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(SOURCE_TREE "/deploy/") + tool, arguments);
        process.waitForFinished(60000);
        return QString::fromUtf8(process.readAllStandardOutput());
    };
    for (const char *name : {"a", "b", "c"})
        write_file(path(QLatin1StringView(name) + QStringLiteral("/Mail/a.mbox")), three_messages());
    const QString list = path(QStringLiteral("list"));
    const QString results = path(QStringLiteral("results"));
    const QByteArray begin = QFile::encodeName(session->directory());
    write_file(list, begin + "/a\n" + begin + "/b");
    QCOMPARE(run(QStringLiteral("failed"), {list, results}), QStringLiteral("1,2\n"));
    QVERIFY(run(QStringLiteral("collect"), {list, results}).contains(u"2\tno record"));
    for (const char *number : {"1", "2"})
        run(QStringLiteral("task"), {QLatin1StringView(number), list, results});
    QCOMPARE(run(QStringLiteral("failed"), {list, results}), QStringLiteral("\n"));
    QVERIFY(run(QStringLiteral("task"), {QStringLiteral("2"), list, results}).contains(u"done before"));
    write_file(list, begin + "/a\n" + begin + "/c");
    QCOMPARE(run(QStringLiteral("failed"), {list, results}), QStringLiteral("2\n"));
    QVERIFY(run(QStringLiteral("collect"), {list, results}).contains(u"2\tother sources"));
}

/// Rows, attachments and the log fill the disk; there is still room for the record.
void test_sources::record_on_a_full_disk()
{
    const QString disk = path(QStringLiteral("r"));
    QDir().mkpath(disk);
    if (QProcess::execute(QStringLiteral("mount"), {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                                                    QStringLiteral("size=1m"), QStringLiteral("tmpfs"), disk}) != 0)
        QSKIP("needs the right to mount a file system");
    const auto unmount = qScopeGuard([&] { QProcess::execute(QStringLiteral("umount"), {disk}); });
    const QByteArray message = "From a\r\nContent-Type: text/plain\r\n\r\n" + QByteArray(4000, 'x') + "\r\n\r\n";
    write_file(path(QStringLiteral("source/Mail/a.mbox")), message.repeated(1000));
    QCOMPARE(host({QStringLiteral("extract"), path(QStringLiteral("source")), disk}), 3);
    QCOMPARE(record()[u"state"].toString(), QStringLiteral("complete"));
    QVERIFY(record()[u"failures"].toInt() > 0);
}

void test_sources::directory_in_use()
{
    QDir().mkpath(result({}));
    QLockFile lock(result(QStringLiteral("gmail_host.lock")));
    QVERIFY(lock.lock());
    const QStringList extract = {QStringLiteral("extract"), QStringLiteral(SOURCE_TREE "/samples/takeout"),
                                 path(QStringLiteral("r"))};
    QCOMPARE(host(extract), 5);
    QVERIFY(session->errors.contains(u"another run is using it"));
    lock.unlock();
    write_file(result(QStringLiteral("gmail_host.lock")), {}); // of a process that was killed while it made the file
    QCOMPARE(host(extract), 0);
}

QTEST_GUILESS_MAIN(test_sources)
#include "test_sources.moc"
