/// Time and value conversions, and the property-list readers.
#include "common/platform/property_objects_portable.h"
#include "common/plugin_static_function.h"
#include "tests/support/support.h"

#include <QDateTime>
#include <QTest>

#include <sys/xattr.h>

using statics = plugin_static_function;

class test_conversions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { statics::set_essentials(); }
    void texts_data();
    void texts();
    void time_zone_of_the_machine();
    void unicode_escapes_are_logged();
    void file_sizes_and_times();
    void property_readers_data();
    void property_readers();
    void used_dates();
    void dates_of_property_lists();
    void property_lists_that_unfold_far_data();
    void property_lists_that_unfold_far();
};

void test_conversions::texts_data()
{
    using function = QString (*)(QString);
    QTest::addColumn<void *>("converter");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const auto rows = [](const char *name, function converter,
                         std::initializer_list<std::pair<const char *, const char *>> cases) {
        for (const auto &[text, expected] : cases)
            QTest::addRow("%s %s", name, text)
                << reinterpret_cast<void *>(converter) << QString::fromUtf8(text) << QString::fromUtf8(expected);
    };
    rows("duration", statics::get_human_readable_time,
         {{"59.9", "00:59 Min"},
          {"-5", ""},
          {"3600", "01:00:00 Hrs"},
          {"360000", "100:00:00 Hrs"},
          {"99999999999", "00:00 Min"},
          {"x", "00:00 Min"},
          {" ", ""}});
    rows("size", statics::human_readable_size,
         {{"1023", "1023 B"},
          {" 1024 ", "1.00 KB"},
          {"1048575", "1024.00 KB"},
          {"1048576", "1.00 MB"},
          {"5368709120", "5120.00 MB"},
          {"abc", "0 B"},
          {"9223372036854775808", "-9223372036854775808 B"},
          {"", ""}});
    rows("suffix", statics::mining_suffix,
         {{"/x/a.tar.gz", "gz"}, {"/x/.profile", ""}, {".a.b", "b"}, {"notes", ""}, {"a.", ""}});
    rows("apple", statics::convert_apple_time_to_epoch,
         {{"0", ""},
          {"1.5", "978307201"},
          {" -1 ", "978307199"},
          {"99999999999", "978307200"},
          {"", ""},
          {"0.5", "978307200"}});
    rows("google", statics::convert_google_time_to_epoch,
         {{"0", ""},
          {"1420452672", "1420452672"},
          {"abcdefghij", "abcdefghij"},
          {"13065041472000000", "1420567872"},
          {"13065041472999999", "1420567872"},
          {"x", "-11644473600"},
          {"", ""}});
    rows("readable 1", statics::convert_human_readable_to_epoch_1,
         {{"Jan 5, 2015, 10:11:12 AM UTC", "1420452672"},
          {"Jan 5, 2015, 10:11:12 PM UTC", "1420495872"},
          {"jan 5, 2015, 12:00:00 AM UTC", "1420416000"},
          {"Januar 5, 2015, 10:11:12 AM UTC", "0"},
          {"", ""}});
    rows("readable 2", statics::convert_human_readable_to_epoch_2,
         {{"2015-01-05 10:11:12.000 +0530", "1420432872"},
          {"2015-01-05 10:11:12.000 -0800", "1420481472"},
          {"2015-01-05 10:11:12.5", "1420470672"},
          {"2015-01-05 10:11:12 ", "0"},
          {"nothing", ""},
          {"x.y+1", "0"},
          {"0", ""},
          {"0.5", ""}});
    rows("readable 3", statics::convert_human_readable_to_epoch_3,
         {{"Mon, 05 Jan 2015 10:11:12 +0530", "1420452672"},
          {"05 Jan 2015 10:11:12 X", "1420452672"},
          {"Sun, 29 Mar 2015 02:30:00 +0100", "1427596200"},
          {"Mon, 5 Mai 2015 10:11:12 +0000", "0"},
          {"0", ""}});
    rows("T and Z", statics::convert_T_Z_time_to_epoch,
         {{"20150105", "1420416000"},
          {"20150105T101112", "1420452672"},
          {"20150105T101112Z", "1420452672"},
          {"2015-01-05T10-11-12", "1420452672"},
          {"2015-01-05 10:11:12.999", "1420452672"},
          {"2015-01-05T10:11:12Z", "0"},
          {"x", "0"}});
    rows("readable UTC", statics::convert_timestamp_to_human_readable_in_UTC,
         {{"1420452672.9", "05-Jan-2015 10:11:12"}, {"0", ""}, {"99999999999", ""}, {"-1", "31-Dec-1969 23:59:59"}});
    rows("unicode", statics::convert_string_to_unicode,
         {{" \\U00e4\\U2019s\\U00e4 ", "ä’sä"}, {"plain ", "plain"}, {"\\u00e4", "\\u00e4"}, {"a\\U41", "aA"}});
    rows("number value", statics::get_filtered_number_value,
         {{"<CFNumber>{value = +42, type = x}", "42"}, {"1+2+3,4+5", "2"}, {"42", ""}});
    rows("boolean value", statics::get_filtered_boolean_value,
         {{"<CFBoolean 0x1 [0x2]>{value = true}", "true"}, {"{value = true}", ""}});
    rows("text value", statics::get_filtered_cfstring_value,
         {{"<CFString 0x1 [0x2]>{contents = \"a b\"}", "a b"}, {"x", ""}});
    rows("list value", statics::get_filtered_string_value,
         {{"(\n \"a\",\n b (c)\n)", "a;b c"}, {"a,", "a;"}, {"", ""}});
    rows("origins", statics::get_filtered_wherefrom_value,
         {{"(\"http://a/\",\n    \"<b>\\U2019s\")", "http://a/;(b)'s"}, {"a,b", "a\nb"}});
    rows("date value", statics::get_filtered_date_value,
         {{"2015-01-05 10:11:12 +0530", "1420452672"},
          {"1973-03-03 09:46:39 +0000", ""},
          {"1973-03-03 09:46:40 +0000", "100000000"},
          {"never", ""}});
}

void test_conversions::texts()
{
    QFETCH(void *, converter);
    QFETCH(QString, text);
    QTEST(reinterpret_cast<QString (*)(QString)>(converter)(text), "expected");
}

/// Only the first layout knows local time; this test's is Berlin's.
void test_conversions::time_zone_of_the_machine()
{
    QCOMPARE(statics::convert_human_readable_to_epoch_1(QStringLiteral("Jan 5, 2015, 10:11:12 AM")),
             QStringLiteral("1420449072"));
    QCOMPARE(statics::convert_human_readable_to_epoch_1(QStringLiteral("Jul 5, 2015, 10:11:12 AM CEST")),
             QStringLiteral("1436083872"));
    QCOMPARE(statics::convert_timezone_to_seconds(QStringLiteral("0530")), 19800);
    QCOMPARE(statics::convert_timezone_to_seconds(QStringLiteral("x130")), 1800);
    QVERIFY(!statics::get_datetime_from_string_with_iso_date(QStringLiteral("x")).isValid());
}

void test_conversions::unicode_escapes_are_logged()
{
    const log_capture log;
    statics::convert_string_to_unicode(QStringLiteral("\\U0041"));
    const QString me = QStringLiteral("plugin_static_function::convert_string_to_unicode: ");
    QCOMPARE(log.lines(), QStringList({me + u" : running", me + u" : infinite loop cross"}));
    statics::set_cancel_extraction(true);
    QCOMPARE(statics::convert_string_to_unicode(QStringLiteral("\\U0041")), QString());
    QCOMPARE(statics::get_filtered_string_value(QStringLiteral("a,b")), QString());
}

void test_conversions::file_sizes_and_times()
{
    const QTemporaryDir directory;
    write_file(directory.filePath(QStringLiteral("a/b")), "12345");
    write_file(directory.filePath(QStringLiteral("a/.c/d")), "678");
    QVERIFY(QFile::link(directory.filePath(QStringLiteral("a/b")), directory.filePath(QStringLiteral("a/link"))));
    QCOMPARE(statics::mining_size(directory.filePath(QStringLiteral("a/b"))), QStringLiteral("5"));
    QCOMPARE(statics::mining_size(directory.filePath(QStringLiteral("a"))), QStringLiteral("8"));
    QCOMPARE(statics::mining_size(directory.filePath(QStringLiteral("none"))), QString());

    QFile file(directory.filePath(QStringLiteral("a/b")));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime::fromSecsSinceEpoch(1000), QFileDevice::FileModificationTime));
    QVERIFY(file.setFileTime(QDateTime::fromSecsSinceEpoch(2000), QFileDevice::FileAccessTime));
    const auto times = statics::get_posix_timestamp(QStringLiteral(" a/b "), directory.path() + u'/');
    QCOMPARE(times.access_time, 2000);
    QCOMPARE(times.modification_time, 1000);
    QCOMPARE(statics::get_posix_timestamp(QStringLiteral("a/b"), {}).access_time, 0);
}

void test_conversions::property_readers_data()
{
    QTest::addColumn<QByteArray>("value"); // in XML, under the key "k"
    QTest::addColumn<QString>(
        "expected"); // text|number|yes or no|label and text|label and number|label and yes or no|label and list
    QTest::newRow("text") << QByteArray("<string> a \xC3\xA4 </string>") << QStringLiteral("a ä|||L:+:a ä|||");
    QTest::newRow("integer") << QByteArray("<integer>1</integer>") << QStringLiteral("|1|||L:+:1|L:+:YES|");
    QTest::newRow("negative") << QByteArray("<integer>-7</integer>") << QStringLiteral("|-7|||L:+:-7|L:+:|");
    QTest::newRow("real") << QByteArray("<real>3.9</real>") << QStringLiteral("|3|||L:+:3|L:+:|");
    QTest::newRow("negative real") << QByteArray("<real>-3.9</real>") << QStringLiteral("|-3|||L:+:-3|L:+:|");
    QTest::newRow("huge real") << QByteArray("<real>1e300</real>")
                               << QStringLiteral("|9223372036854775807|||L:+:9223372036854775807|L:+:|");
    QTest::newRow("true") << QByteArray("<true/>") << QStringLiteral("|1|YES||L:+:1|L:+:YES|");
    QTest::newRow("false") << QByteArray("<false/>") << QStringLiteral("|0|NO||L:+:0|L:+:NO|");
    QTest::newRow("list") << QByteArray("<array><string> a </string><string>b</string></array>")
                          << QStringLiteral("||||||L:+:a;b");
    QTest::newRow("empty list") << QByteArray("<array/>") << QStringLiteral("||||||L:+:");
    QTest::newRow("data") << QByteArray("<data>QQ==</data>") << QStringLiteral("||||||");
    QTest::newRow("missing") << QByteArray("<string>x</string><key>other</key><string>y</string>")
                             << QStringLiteral("x|||L:+:x|||");
}

void test_conversions::property_readers()
{
    QFETCH(QByteArray, value);
    const QByteArray xml =
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>k</key>" + value + "</dict></plist>";
    const property_objects::property_list list(xml);
    const property_objects::text_object k(QStringLiteral("k"));
    const auto key = const_cast<void *>(k.get());
    const auto dictionary = const_cast<void *>(list.root());
    const QString label = QStringLiteral("L");
    const QStringList read = {statics::get_nsstring_values(key, dictionary),
                              statics::get_nsnumber_values(key, dictionary),
                              statics::get_nsnumber_values_yes_no(key, dictionary),
                              statics::get_nsstring_key_and_values(key, dictionary, label),
                              statics::get_nsnumber_key_and_values(key, dictionary, label),
                              statics::get_nsnumber_key_and_value_yes_no(key, dictionary, label),
                              statics::get_nsarray_key_and_values(key, dictionary, label)};
    QTEST(read.join(u'|'), "expected");
    const property_objects::text_object absent(QStringLiteral("absent"));
    QCOMPARE(statics::get_nsstring_values(const_cast<void *>(absent.get()), dictionary), QString());
    QCOMPARE(statics::get_nsnumber_values(key, key), QString()); // no dictionary
    QCOMPARE(statics::get_nsnumber_values(key, nullptr), QString());
    QCOMPARE(statics::convert_cfstring_to_qstring(k.get()), QStringLiteral("k"));
}

void test_conversions::used_dates()
{
    const QTemporaryDir directory(QDir::currentPath() +
                                  QStringLiteral("/XXXXXX")); // attributes need a real file system
    const QString path = directory.filePath(QStringLiteral("file"));
    write_file(path, "x");
    const auto nothing = statics::extract_used_date(path);
    QVERIFY(nothing.last_used_date.isEmpty() && nothing.used_dates_QStringList.isEmpty());
    const auto set = [&path](const char *name, const QByteArray &value) {
        const QByteArray xml = "<plist version=\"1.0\">" + value + "</plist>";
        return ::setxattr(path.toLocal8Bit().constData(), name, xml.constData(), std::size_t(xml.size()), 0) == 0;
    };
    if (!set("user.com.apple.metadata:kMDItemLastUsedDate", "<date>2015-01-05T10:11:12Z</date>"))
        QSKIP("no extended attributes here");
    QVERIFY(set("user.com.apple.metadata:kMDItemUsedDates",
                "<array><date>2015-01-04T23:00:00Z</date><date>2015-01-05T23:00:00Z</date></array>"));
    const auto &[last_used, all, first, latest] = statics::extract_used_date(path);
    QCOMPARE(last_used, QStringLiteral("1420452672"));
    QCOMPARE(all, QStringList({QStringLiteral("1420412400"), QStringLiteral("1420498800")}));
    QCOMPARE(first, all.first());
    QCOMPARE(latest, all.last());
}

/// Written in local time and read as UTC: in Berlin an hour later in winter, two in summer.
void test_conversions::dates_of_property_lists()
{
    const property_objects::property_list list(
        "<plist version=\"1.0\"><array><date>2015-01-05T10:11:12Z</date><date>2015-07-05T22:11:12Z</date>"
        "<integer>1</integer></array></plist>");
    const auto item = [&list](int i) { return const_cast<void *>(property_objects::items_of(list.root()).at(i)); };
    const auto epoch = [](void *object) {
        return statics::convert_nsdate_to_epoch(static_cast<NSDate *>(object), static_cast<NSObject *>(object));
    };
    QCOMPARE(epoch(item(0)), 1420452672 + 3600);
    QCOMPARE(epoch(item(1)), 1436134272 + 7200);
    QCOMPARE(epoch(item(2)), 0);
    QCOMPARE(epoch(nullptr), 0);
}

void test_conversions::property_lists_that_unfold_far_data()
{
    QTest::addColumn<int>("levels");
    QTest::addColumn<int>("items");
    QTest::addColumn<bool>("is_read");
    QTest::newRow("every item twice") << 10 << 2 << true;
    QTest::newRow("two to the thirtieth items") << 30 << 2 << false;
    QTest::newRow("deep") << 500 << 1 << true;
    QTest::newRow("too deep") << 600 << 1 << false;
}

/// A binary property list whose lists name the next one as each of their items; the last one is a text.
void test_conversions::property_lists_that_unfold_far()
{
    QFETCH(int, levels);
    QFETCH(int, items);
    const auto two_bytes = [](qsizetype number) -> QByteArray {
        return QByteArray(1, char(number >> 8)) + QByteArray(1, char(number & 0xFF));
    };
    QByteArray bytes = "bplist00";
    QByteArray offsets;
    for (int i = 0; i < levels; ++i) {
        offsets += two_bytes(bytes.size());
        bytes += QByteArray(1, char(0xA0 + items)) + two_bytes(i + 1).repeated(items);
    }
    offsets += two_bytes(bytes.size());
    bytes += "Qa";
    const QByteArray table = QByteArray(6, '\0') + two_bytes(bytes.size());
    bytes += offsets + QByteArray(6, '\0') + "\2\2" + QByteArray(6, '\0') + two_bytes(levels + 1) +
             QByteArray(8, '\0') + table;

    const property_objects::property_list list(bytes);
    QTEST(list.root() != nullptr, "is_read");
    QCOMPARE(property_objects::items_of(list.root()).size(), list.root() ? items : 0);
}

int main(int argc, char *argv[])
{
    qputenv("TZ", "Europe/Berlin");
    QCoreApplication application(argc, argv);
    test_conversions test;
    return QTest::qExec(&test, argc, argv);
}
#include "test_conversions.moc"
