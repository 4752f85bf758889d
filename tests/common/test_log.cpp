/// The debug log, its state, and the cipher of its lines.
#include "common/encryptor_string.h"
#include "common/log_line.h"
#include "common/plugin_static_function.h"
#include "tests/support/support.h"

#include <QTest>

#include <csignal>
#include <sys/resource.h>

using statics = plugin_static_function;

class test_log : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void line_format_data();
    void line_format();
    void log_that_is_off_writes_nothing();
    void enciphered_lines();
    void lines_are_appended_and_named_after_the_caller();
    void lines_that_a_full_disk_took_are_counted_data();
    void lines_that_a_full_disk_took_are_counted();
    void essentials_keep_the_encryption_flag();
    void clearing_keeps_what_outlives_a_source();
    void cipher_modes_data();
    void cipher_modes();
    void cipher_seeds_the_generator();
    void cipher_refuses_data();
    void cipher_refuses();
};

void test_log::line_format_data()
{
    QTest::addColumn<int>("engine");
    QTest::addColumn<QString>("function_info");
    QTest::addColumn<QString>("behind_time");
    QTest::newRow("virtual") << 0 << "virtual void gmail::pub_extract_artifacts()"
                             << "][TALVO_BENCH][Artifacts Extraction][gmail::pub_extract_artifacts]:-- text";
    QTest::newRow("no return type") << 1 << " main(int, char **) "
                                    << "][TALVO_SWEEP][Artifacts Extraction][main]:-- text";
    QTest::newRow("no parameters") << 2 << "plain"
                                   << "][TALVO_PROBE][Artifacts Extraction][plain]:-- text";
    QTest::newRow("blank function") << 0 << "  "
                                    << "][TALVO_BENCH][Artifacts Extraction][FUNCTION INFO IS EMPTY ---FAILED--- "
                                       "debug!!!]:-- text";
    QTest::newRow("engine not set") << -1 << "f()"
                                    << "][ -----FAILED----- to find Engine Type ][-1][Artifacts Extraction][f]:-- text";
}

void test_log::line_format()
{
    QFETCH(int, engine);
    QFETCH(QString, function_info);
    QFETCH(QString, behind_time);
    const log_capture log;
    statics::set_engine_type(engine);
    statics::app_debug(QStringLiteral("text"), function_info);
    const QString line = QString::fromUtf8(read_file(log.path()));
    QVERIFY2(line.endsWith(behind_time + u'\n'), qPrintable(line));
    const QString time = line.sliced(1, line.size() - behind_time.size() - 2);
    QVERIFY2(QDateTime::fromString(time, QStringLiteral("yyyy-MMM-ddThh-mm-ss")).isValid(), qPrintable(time));
}

void test_log::log_that_is_off_writes_nothing()
{
    const log_capture log;
    statics::debug_mode_status_bool = false;
    statics::app_debug(QStringLiteral("text"), QStringLiteral("f()"));
    log_line("text");
    QCOMPARE(read_file(log.path()), QByteArray());

    struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info terminal_only;
    terminal_only.debug_mode_status_bool = true;
    terminal_only.debug_file_path_QString = log.path() + u'2';
    statics::set_general_info(terminal_only);
    QVERIFY(!QFile::exists(log.path() + u'2'));
}

void test_log::enciphered_lines()
{
    const log_capture log;
    statics::debug_encryption_status_bool = true;
    for (const char *text : {"first", "sécond"})
        statics::app_debug(QString::fromUtf8(text), QStringLiteral("f()"));
    statics::debug_encryption_status_bool = false;
    const QByteArray bytes = read_file(log.path());
    QVERIFY(!bytes.contains('\n') && bytes.endsWith("<[{()}]>"));
    const QStringList pieces = QString::fromLatin1(bytes).split(QStringLiteral("<[{()}]>"), Qt::SkipEmptyParts);
    QCOMPARE(pieces.size(), 2);
    encryptor_string cipher;
    QVERIFY(cipher.decryptToString(pieces.at(0)).endsWith(u"[f]:-- first"));
    QVERIFY(cipher.decryptToString(pieces.at(1)).endsWith(u"[f]:-- sécond"));
}

void test_log::lines_are_appended_and_named_after_the_caller()
{
    const log_capture log;
    log_line("one ", QStringLiteral("two"), u" three");
    statics::close_debug_file();
    statics::open_debug_file();
    {
        const log_span span("start", "end");
    }
    const QString me = QStringLiteral("test_log::lines_are_appended_and_named_after_the_caller: ");
    QCOMPARE(log.lines(), QStringList({me + u"one two three", me + u"start", me + u"end"}));
}

void test_log::lines_that_a_full_disk_took_are_counted_data()
{
    QTest::addColumn<bool>("space_before_the_end");
    QTest::newRow("then there is space") << true;
    QTest::newRow("at the end there is space") << false;
}

/// A limit on the size of files simulates a full disk.
void test_log::lines_that_a_full_disk_took_are_counted()
{
    QFETCH(bool, space_before_the_end);
    const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit usual;
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    {
        const log_capture log;
        log_line("one");
        const auto size = static_cast<rlim_t>(QFileInfo(log.path()).size());
        const rlimit nearly_full = {size + 20, usual.rlim_max};
        QCOMPARE(::setrlimit(RLIMIT_FSIZE, &nearly_full), 0);
        log_line("two");
        log_line("three");
        QCOMPARE(::setrlimit(RLIMIT_FSIZE, &usual), 0);
        QCOMPARE(read_file(log.path()).size(), qsizetype(size) + 20); // part of the second line
        if (space_before_the_end)
            log_line("four");
        statics::close_debug_file();
        const QList<QByteArray> lines = read_file(log.path()).split('\n');
        QCOMPARE(lines.size(), space_before_the_end ? 5 : 4);
        QVERIFY(lines.at(2).endsWith("[debug log] ----FAILED---- lines that could not be written: 2"));
        QVERIFY(!space_before_the_end || lines.at(3).endsWith("]:-- four"));
    }
    std::signal(SIGXFSZ, old_handler);
}

void test_log::essentials_keep_the_encryption_flag()
{
    statics::set_source_info({.os_version_full = QStringLiteral("12.6"), .system_account_QList = {{}}});
    statics::set_engine_type(1);
    statics::set_source_count(3);
    statics::set_cancel_extraction(true);
    statics::debug_encryption_status_bool = true;
    statics::set_essentials();
    QCOMPARE(statics::type_engine_int, -1);
    QCOMPARE(statics::source_count_int, -1);
    QCOMPARE(statics::get_source_count_name(), QStringLiteral("Source-1"));
    QVERIFY(!statics::bool_cancel_extraction.is_set());
    QVERIFY(statics::system_account_QList.isEmpty());
    QVERIFY(statics::debug_encryption_status_bool);
    QCOMPARE(statics::source_os_version_full, QStringLiteral("12.6"));
    statics::debug_encryption_status_bool = false;
}

void test_log::clearing_keeps_what_outlives_a_source()
{
    const QString x = QStringLiteral("x");
    struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info source{x, x, x, x, x, {{x, x}}, x, x, {x}, x, x, x, x};
    statics::clear_variables_talvo_and_artifact_common_source_info(source);
    const auto &[f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13] = source;
    QCOMPARE(QString(f1 + f2 + f3 + f4 + f5 + f7 + f8 + f10 + f11), QString());
    QVERIFY(f6.isEmpty() && f9.isEmpty());
    QCOMPARE(QString(f12 + f13), QStringLiteral("xx"));

    struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info general{true, true, true, true, true, x};
    statics::clear_variables_talvo_and_artifact_common_general_info(general);
    QVERIFY(!general.debug_mode_status_bool && general.debug_encryption_status_bool);
    QVERIFY(general.debug_file_path_QString.isEmpty());
}

void test_log::cipher_modes_data()
{
    QTest::addColumn<int>("compression");
    QTest::addColumn<int>("protection");
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<int>("flags");
    const QByteArray long_text(500, 'a');
    QTest::newRow("one character stays uncompressed") << 0 << 1 << QByteArray("a") << 0x02;
    QTest::newRow("long text is compressed") << 0 << 1 << long_text << 0x03;
    QTest::newRow("always compressed, hash") << 1 << 2 << QByteArray("a") << 0x05;
    QTest::newRow("never compressed, bare") << 2 << 0 << long_text << 0x00;
    QTest::newRow("empty") << 2 << 0 << QByteArray("") << 0x00;
}

void test_log::cipher_modes()
{
    QFETCH(int, compression);
    QFETCH(int, protection);
    QFETCH(QByteArray, plain);
    QFETCH(int, flags);
    encryptor_string cipher;
    cipher.compression_mode = encryptor_string::compression(compression);
    cipher.protection_mode = encryptor_string::protection(protection);
    const QByteArray enciphered = cipher.encryptToByteArray(plain);
    QCOMPARE(int(enciphered[0]), 3);
    QCOMPARE(int(enciphered[1]), flags);
    QCOMPARE(cipher.decryptToByteArray(enciphered), plain);

    // The layout, undone by hand: chain, random byte, integrity field.
    QByteArray body = enciphered.mid(2);
    for (qsizetype i = body.size() - 1; i >= 0; --i) {
        const quint8 key_part = quint8(cipher.key_value >> (8 * (i % 8)));
        body[i] = char(body[i] ^ (i > 0 ? body[i - 1] : 0) ^ key_part);
    }
    if (flags == 0x02)
        QCOMPARE(body.mid(1).toHex(), QByteArray::number(qChecksum("a"), 16).rightJustified(4, '0') + "61");
    if (flags == 0x00)
        QCOMPARE(body.mid(1), plain);
}

/// Each cipher seeds the generator from the clock, also when many are made within one millisecond.
void test_log::cipher_seeds_the_generator()
{
    for (int i = 0; i < 100; ++i) {
        const qint64 before = QDateTime::currentMSecsSinceEpoch();
        encryptor_string cipher;
        const int first_number = std::rand();
        const qint64 after = QDateTime::currentMSecsSinceEpoch();
        bool is_seeded = false;
        for (qint64 time = before; time <= after; ++time) {
            std::srand(static_cast<unsigned>(time & 0xFFFF));
            is_seeded = is_seeded || first_number == std::rand();
        }
        QVERIFY(is_seeded);
    }
}

void test_log::cipher_refuses_data()
{
    QTest::addColumn<QByteArray>("enciphered");
    QTest::addColumn<int>("error");
    encryptor_string cipher;
    QByteArray changed = cipher.encryptToByteArray(QByteArray("some text"));
    changed[changed.size() - 1] = char(changed.back() ^ 1);
    cipher.protection_mode = encryptor_string::protection_none;
    cipher.compression_mode = encryptor_string::compression_never;
    QByteArray with_forged_size = qCompress("some text");
    with_forged_size[0] = 0x10; // 256 MiB
    QByteArray forged_size = cipher.encryptToByteArray(with_forged_size);
    forged_size[1] = 0x01;
    QTest::newRow("too short") << QByteArray("\3\2") << 0;
    QTest::newRow("other version") << QByteArray("\4\2abcdef") << 2;
    QTest::newRow("changed byte") << changed << 3;
    QTest::newRow("no room for the checksum") << QByteArray("\3\2ab") << 3;
    QTest::newRow("no room for the hash") << QByteArray("\3\4abcdef") << 3;
    QTest::newRow("forged size") << forged_size << 0;
}

void test_log::cipher_refuses()
{
    QFETCH(QByteArray, enciphered);
    QFETCH(int, error);
    encryptor_string cipher;
    if (error == encryptor_string::unknown_version)
        QTest::ignoreMessage(QtWarningMsg, "Invalid version or not a cyphertext.");
    QCOMPARE(cipher.decryptToString(enciphered), QString());
    QCOMPARE(int(cipher.last_error), error);

    cipher.key_parts.clear();
    QTest::ignoreMessage(QtWarningMsg, "No key set.");
    QCOMPARE(cipher.decryptToByteArray(enciphered), QByteArray());
    QCOMPARE(cipher.last_error, encryptor_string::no_key_set);
}

QTEST_MAIN(test_log)
#include "test_log.moc"
