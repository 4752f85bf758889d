/// Files and paths, free names, media types and working copies.
#include "common/free_file_names.h"
#include "common/plugin_helper_functions.h"
#include "common/plugin_static_function.h"
#include "extractors/android/working_copies.h"
#include "tests/support/support.h"

#include <QDir>
#include <QTest>

#include <unistd.h>

using statics = plugin_static_function;

class test_paths : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { statics::set_essentials(); }
    void source_paths_data();
    void source_paths();
    void users();
    void os_versions();
    void unmatched_entries();
    void copying_and_removing();
    void removing_never_leaves_the_directory();
    void removing_changes_no_mode();
    void free_names_data();
    void free_names();
    void free_names_follow_the_directory();
    void media_types_data();
    void media_types();
    void working_copies();
};

void test_paths::source_paths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("root");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("complete"); // with user "new"
    QTest::addColumn<QString>("relative");
    QTest::addColumn<QString>("as_given");
    constexpr char home[] = "macOS_Home_Directory";
    const char *const cases[][7] = {
        {"home", "/Users/old/Library/x", "/Users/old", home, "/Users/new/Library/x", "/Library/x",
         "/Users/old/Library/x"},
        {"another kind", "/Users/old/x", "/Users/old", "other", "/Users/old/x", "/Users/old/x", ""},
        {"leading slash added", "x/y", "r", "other", "/x/y", "/x/y", ""},
        {"root inside the path", "a/root/b", "root", home, "/a/root/b", "/b", "a/root/b"},
        {"root does not occur", "/a/b", "/c", home, "/a/b", "/a/b", "/a/b"},
        {"user alone", "/Users/old", "", home, "/Users/new", "/Users/old", "/Users/old"},
        {"blank", " ", "", "other", " ", " ", ""},
    };
    for (const auto &[name, path, root, kind, complete, relative, as_given] : cases)
        QTest::newRow(name) << path << root << kind << complete << relative << as_given;
}

void test_paths::source_paths()
{
    QFETCH(QString, path);
    QFETCH(QString, root);
    QFETCH(QString, kind);
    QTEST(statics::get_complete_file_path(path, QStringLiteral("new"), kind), "complete");
    QTEST(statics::get_relative_file_path(path, root, kind), "relative");
    const auto [relative_path, path_as_given] = statics::get_final_artifact_source_file(path, root, kind);
    QTEST(relative_path, "relative");
    QTEST(path_as_given, "as_given");
}

void test_paths::users()
{
    const auto user_of = [](const char *path) {
        const auto account =
            statics::extract_user_name_from_sourcefile(QString::fromLatin1(path), QStringLiteral("/Users"));
        return QString(account.system_user + u'@' + account.domain_user);
    };
    QCOMPARE(user_of("/Users/ann/Library"), QStringLiteral("@")); // no accounts at all
    statics::set_source_info({.system_account_QList = {{QStringLiteral("Ann"), QStringLiteral("x")},
                                                       {QStringLiteral("ann"), QStringLiteral("home")}}});
    QCOMPARE(user_of("/Users/ann/Library"), QStringLiteral("ann@home"));
    QCOMPARE(user_of("/Other/ann"), QStringLiteral("ann@home")); // the prefix is cut off by length
    QCOMPARE(user_of("/Users"), QStringLiteral("@"));
}

void test_paths::os_versions()
{
    const auto version_of = [](const char *version, const char *scheme) {
        statics::set_source_info({.os_version_full = QString::fromLatin1(version)});
        return statics::get_source_os_scan_version(QString::fromLatin1(scheme));
    };
    QCOMPARE(version_of("10.14.6", "macOS"), QStringLiteral("10.14.6"));
    QCOMPARE(version_of("13.2.1", "macOS"), QStringLiteral("13"));
    QCOMPARE(version_of("16.1", "iOS"), QStringLiteral("16"));
    QCOMPARE(version_of("10.0.19045", "winOS"), QStringLiteral("10"));
    QCOMPARE(version_of("16.1", "iOS_UID"), QStringLiteral("16.1")); // the dispatch word of iOS
}

void test_paths::unmatched_entries()
{
    const QStringList parent = QStringLiteral("b a b A c").split(u' ');
    const QStringList other = QStringLiteral("a c").split(u' ');
    QCOMPARE(statics::get_unmatched_varible_list_of_parentlist(parent, other), QStringLiteral("b b A").split(u' '));
    statics::set_cancel_extraction(true);
    QVERIFY(statics::get_unmatched_varible_list_of_parentlist(parent, other).isEmpty());
}

void test_paths::copying_and_removing()
{
    const QTemporaryDir directory;
    const QString source = directory.filePath(QStringLiteral("s"));
    const QString copy = directory.filePath(QStringLiteral("d/e"));
    const QByteArray large(300000, 'x');
    write_file(source + u"/file", large);
    write_file(source + u"/.hidden/.file", "h");
    write_file(copy + u"/file", QByteArray(400000, 'y'));
    QVERIFY(QFile::link(source, source + u"/circle"));
    QDir().mkpath(copy + u"/blocked");
    write_file(source + u"/blocked", "cannot replace a directory");

    const log_capture log;
    statics::copy_directory(source, copy);
    statics::copy_directory(source + u"/nowhere", copy);
    QCOMPARE(read_file(copy + u"/file"), large);
    QCOMPARE(read_file(copy + u"/.hidden/.file"), QByteArray("h"));
    QVERIFY(!QFile::exists(copy + u"/circle"));
    const QString me = QStringLiteral("plugin_static_function::copy_directory: [copy_directory] ");
    QCOMPARE(log.lines(),
             QStringList({me + u"destination file open ----FAILED---- :" + copy + u"/blocked",
                          me + u"Error:" + u"Is a directory",
                          me + u"link to a directory is not copied ----FAILED---- :" + source + u"/circle",
                          me + u"source diectory does not exist ----FAILED---- :" + source + u"/nowhere"}));
    statics::remove_directory(copy + u'/');
    QVERIFY(!QFile::exists(copy) && QFile::exists(source));
#ifdef Q_OS_LINUX
    const QString small = directory.filePath(QStringLiteral("small"));
    const QString full = directory.filePath(QStringLiteral("full"));
    write_file(small + u"/file", "x");
    QVERIFY(QDir().mkpath(full) && QFile::link(QStringLiteral("/dev/full"), full + u"/file"));
    statics::copy_directory(small, full);
    QCOMPARE(log.lines().mid(4), QStringList({me + u"file copy ----FAILED---- :" + small + u"/file",
                                              me + u"Error:" + u"No space left on device"}));
#endif
}

void test_paths::removing_never_leaves_the_directory()
{
    const QTemporaryDir directory;
    const QString outside = directory.filePath(QStringLiteral("outside"));
    const QString inside = directory.filePath(QStringLiteral("inside"));
    write_file(outside + u"/file", "x");
    QDir().mkpath(inside);
    QVERIFY(QFile::link(outside, inside + u"/link") &&
            QFile::link(outside, directory.filePath(QStringLiteral("alias"))));
    statics::remove_directory(directory.filePath(QStringLiteral("alias/")));
    statics::remove_directory(inside);
    QDir::setCurrent(outside);
    statics::remove_directory({}); // not the current directory
    QCOMPARE(files_in(outside), QStringList(QStringLiteral("file")));
    QCOMPARE(QDir(directory.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("outside")));
}

/// Anything that cannot be removed stays as it is, and so does the target of a link.
void test_paths::removing_changes_no_mode()
{
#ifdef Q_OS_LINUX
    const uid_t me = ::getuid();
    QVERIFY(me != 0 || ::setresuid(65534, 65534, 0) == 0); // root may remove and write everything
#endif
    const QTemporaryDir directory;
    const QString outside = directory.filePath(QStringLiteral("outside"));
    const QString inside = directory.filePath(QStringLiteral("inside"));
    write_file(outside, "x");
    QDir().mkpath(inside + u"/deep");
    QVERIFY(QFile::link(outside, inside + u"/deep/link"));
    QVERIFY(QFile::setPermissions(outside, QFile::ReadOwner));
    QVERIFY(QFile::setPermissions(inside + u"/deep", QFile::ReadOwner | QFile::ExeOwner));
    const QFile::Permissions before = QFile::permissions(outside);
    statics::remove_directory(inside);
    QVERIFY(QFileInfo(inside + u"/deep/link").isSymLink());
    QCOMPARE(QFile::permissions(outside), before);
    QVERIFY(!(QFile::permissions(inside + u"/deep") & QFile::WriteOwner));
    QFile::setPermissions(inside + u"/deep", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    statics::remove_directory(inside);
    QVERIFY(!QFile::exists(inside));
#ifdef Q_OS_LINUX
    QVERIFY(me != 0 || ::setresuid(0, 0, 0) == 0);
#endif
}

void test_paths::free_names_data()
{
    QTest::addColumn<QString>("taken"); // names between slashes
    QTest::addColumn<QString>("wanted");
    QTest::addColumn<QString>("expected");
    const char *const cases[][4] = {
        {"free", "", "/some/where/a.txt", "a.txt"},
        {"taken twice", "a.txt/1_a.txt", "a.txt", "2_a.txt"},
        {"a gap is used", "a.txt/2_a.txt", "a.txt", "1_a.txt"},
        {"other case is another name", "A.txt", "a.txt", "a.txt"},
        {"hidden", ".a", ".a", "1_.a"},
        {"parent", "", "x/..", "1_.."},
        {"no name", "", "x/", ""},
        {"blanks around the entry", " a ", "a", "1_a"},
        {"blanks around the wanted name", "a", "a ", "1_a "},
        {"umlaut", "\xC3\xA4", "\xC3\xA4", "1_\xC3\xA4"},
    };
    for (const auto &[name, taken, wanted, expected] : cases)
        QTest::newRow(name) << QString::fromUtf8(taken) << QString::fromUtf8(wanted) << QString::fromUtf8(expected);
}

void test_paths::free_names()
{
    QFETCH(QString, taken);
    QFETCH(QString, wanted);
    QFETCH(QString, expected);
    const QTemporaryDir directory;
    const QString path = directory.path() + u"/new";
    const QStringList names = taken.split(u'/', Qt::SkipEmptyParts);
    for (const QString &name : names)
        write_file(path + u'/' + name, "x");
    QCOMPARE(statics::get_available_file(wanted, path, {}), expected);
    QVERIFY(QFile::exists(path));
    for (const QString &name : names)
        QVERIFY(statics::is_file_exist_in_dir(path, u' ' + name, {}));
    QCOMPARE(statics::is_file_exist_in_dir(path, expected, {}), false);
    statics::set_cancel_extraction(true);
    QCOMPARE(statics::get_available_file(wanted, path, {}), QString());
}

void test_paths::free_names_follow_the_directory()
{
    const QTemporaryDir directory;
    const QString path = directory.path() + u'/';
    const QString name = QStringLiteral("a");
    cancel_flag cancelled;
    free_file_names names(path, cancelled);
    QCOMPARE(names.next(name, cancelled), name);
    QCOMPARE(names.next(name, cancelled), name); // nothing was made yet
    for (const char *expected : {"a", "1_a", "2_a"}) {
        QCOMPARE(names.next(name, cancelled), QString::fromLatin1(expected));
        write_file(path + QString::fromLatin1(expected), "x");
    }
    write_file(path + u"3_a", "made by someone else");
    QVERIFY(QFile::link(QStringLiteral("/nonexistent"), path + u"4_a"));
    QCOMPARE(names.next(name, cancelled), QStringLiteral("5_a"));
    // On disk a name ends at a NUL: it must not lead to a file that is there.
    QCOMPARE(names.next(QStringLiteral("a") + QChar::Null + u"b", cancelled),
             QStringLiteral("5_a") + QChar::Null + u"b");
}

void test_paths::media_types_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("kinds"); // i(mage), v(ideo), a(udio)
    const std::pair<const char *, const char *> cases[] = {
        {"IMG_1.JPG ", "i"},
        {"a/b.tar.png", "i"},
        {"photo.jpg.txt", ""},
        {"photo.jpgx", ""},
        {"archive.", ""},
        {"a.jpg..", ""},
        {"noext", ""},
        {"", ""},
        {".jpg", "i"},
        {"song.mp3", "va"},
        {"clip.mp4", "v"},
        {"clip.wmv", ""},
        {"x.mts", "va"},
        {"x.heic", ""},
        {"x.raw", "va"},
        {"x.abc", "iva"},
        {"x.bmc", "iv"},
        {"x.box", "va"},
        {"x.\xc3\xa4vi", ""},
        {"x. ", ""},
        {"x.accountpicture-ms", "i"},
    };
    for (const auto &[name, kinds] : cases)
        QTest::newRow(name) << QString::fromUtf8(name) << QString::fromLatin1(kinds);
}

void test_paths::media_types()
{
    QFETCH(QString, name);
    plugin_helper_functions helper(nullptr);
    const auto kinds_of = [&] {
        return QString((helper.check_is_image_by_extn(name) ? QStringLiteral("i") : QString()) +
                       (helper.check_is_video_by_extn(name) ? QStringLiteral("v") : QString()) +
                       (helper.check_is_audio_by_extn(name) ? QStringLiteral("a") : QString()));
    };
    QTEST(kinds_of(), "kinds");
    helper.set_cancel_extraction(true);
    QCOMPARE(kinds_of(), QString());
    helper.set_essentials();
    QTEST(kinds_of(), "kinds");
}

void test_paths::working_copies()
{
    const QTemporaryDir directory;
    const QString source = directory.filePath(QStringLiteral("s/x.db"));
    const QString adhoc = directory.filePath(QStringLiteral("tmp/"));
    write_file(source, "db");
    write_file(source + u"-wal", "wal");
    QFile::setPermissions(source, QFile::ReadOwner);
    plugin_helper_functions helper(nullptr);
    helper.set_adhoc_parent_path(adhoc);

    QCOMPARE(helper.get_adhoc_path_for_database(source), QString(adhoc + u"x.db"));
    QCOMPARE(files_in(adhoc), QStringList({QStringLiteral("x.db"), QStringLiteral("x.db-wal")}));
    QCOMPARE(read_file(adhoc + u"x.db-wal"), QByteArray("wal"));
    QVERIFY(QFile::permissions(adhoc + u"x.db") & QFile::WriteOwner);
    QCOMPARE(helper.get_adhoc_path_for_database(source), QString(adhoc + u"1_x.db"));
    QCOMPARE(helper.get_adhoc_path_for_regular_file(source), QString(adhoc + u"2_x.db"));
    QVERIFY(!QFile::exists(adhoc + u"2_x.db-wal"));
    QCOMPARE(helper.get_adhoc_path_for_database(QStringLiteral(" ")), QString());

    // Those of a step are removed when it ends, however it ends.
    QString of_step;
    try {
        ::working_copies copies(helper);
        of_step = copies.path_of(source);
        QCOMPARE(copies.path_of(source), of_step);
        QVERIFY(QFile::exists(of_step) && QFile::exists(of_step + u"-wal"));
        throw std::bad_alloc();
    } catch (const std::bad_alloc &) {
        QVERIFY(!QFile::exists(of_step) && !QFile::exists(of_step + u"-wal"));
    }

    // A file that cannot be copied is logged; the path is still returned. Without a folder there is no copy.
    const log_capture log;
    plugin_helper_functions without_folder(nullptr);
    QDir::setCurrent(QFileInfo(source).path());
    QCOMPARE(without_folder.get_adhoc_path_for_database(source), QString());
    QCOMPARE(without_folder.get_adhoc_path_for_regular_file(source), QString());
    QCOMPARE(read_file(source + u"-wal"), QByteArray("wal"));
    QCOMPARE(log.lines_with(QStringLiteral("There is no folder for working copies")).size(), 2);
    QCOMPARE(helper.get_adhoc_path_for_database(directory.filePath(QStringLiteral("s"))), QString(adhoc + u's'));
    QVERIFY(!QFile::exists(adhoc + u's'));
    QCOMPARE(log.lines_with(QString(u"get_adhoc_path_for_database: [copy of source file] ----FAILED---- :" +
                                    directory.filePath(QStringLiteral("s")) + u" error: "))
                 .size(),
             1);

    statics::set_cancel_extraction(true);
    QCOMPARE(helper.get_adhoc_path_for_database(source), QString());
}

QTEST_MAIN(test_paths)
#include "test_paths.moc"
