/// The splitter against a slow one that goes line by line, as text.
#include "extractors/takeout/local_text.h"
#include "extractors/takeout/mbox_splitter.h"
#include "tests/support/slow_splitter.h"

#include <QBuffer>
#include <QRandomGenerator>
#include <QTest>

namespace {

QList<QByteArray> split(QByteArray file, int keep)
{
    QList<QByteArray> messages;
    QBuffer device(&file);
    device.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    mbox_splitter splitter(device);
    for (auto state = mbox_splitter::progress::reading; state != mbox_splitter::progress::file_ended;) {
        state = splitter.read();
        if (state != mbox_splitter::progress::message_complete)
            continue;
        messages.append(QByteArray(splitter.message().constData(), splitter.message().size()));
        if (messages.size() != keep)
            splitter.drop_message();
    }
    return messages;
}

} // namespace

class test_mbox_splitter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void known_files_data();
    void known_files();
    void random_files();
    void lines_longer_than_a_block();
    void pieces_of_a_long_line_are_converted_as_the_whole();
    void message_given_up();
    void text_conversion_is_skipped_only_where_it_changes_nothing();
};

void test_mbox_splitter::known_files_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QList<QByteArray>>("messages");
    using list = QList<QByteArray>;
    QTest::newRow("empty") << QByteArray() << list();
    QTest::newRow("one message") << QByteArray("From a\nx\n") << list();
    QTest::newRow("three messages") << QByteArray("From a\n1\nFrom b\n2\nFrom c\n3\n")
                                    << list{"From a\n1\n", "From b\n2\n"};
    QTest::newRow("lines before the first") << QByteArray("x\nFrom \r\nFrom a") << list{"From \r\n"};
    QTest::newRow("no separators") << QByteArray("x\nfrom a\n>From b\n From c\n") << list();
    QTest::newRow("not in the first column")
        << QByteArray("From a\n>From b\nfrom c\nFrom\nFrom d\n") << list{"From a\n>From b\nfrom c\nFrom\n"};
    QTest::newRow("separator after a byte order mark") << QByteArray("From a\n\xEF\xBB\xBF"
                                                                     "From b\nFrom c\n")
                                                       << list{"From a\n", "From b\n"};
    QTest::newRow("separator as the last line, unended") << QByteArray("From a\nFrom ") << list{"From a\n"};
    QTest::newRow("invalid bytes") << QByteArray("From \xFF\n\xED\xA0\x80\nFrom b\n")
                                   << list{"From \xEF\xBF\xBD\n\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\n"};
    QTest::newRow("NUL") << QByteArray("From \0\nFrom b\n", 14) << list{QByteArray("From \0\n", 7)};
}

void test_mbox_splitter::known_files()
{
    QFETCH(QByteArray, file);
    QFETCH(QList<QByteArray>, messages);
    QCOMPARE(split(file, 0), messages);
    QCOMPARE(split_slowly(file, 0), messages);
}

void test_mbox_splitter::random_files()
{
    QList<QByteArray> pieces =
        QByteArray(
            "From |From|\n|\r\n|text| |\xEF\xBB\xBF|\xEF\xBB|\xC3\xA4|\xF0\x9F\x98\x80|\xFF|\xC0\x80|\xED\xA0\x80")
            .split('|');
    pieces += {QByteArray(1, '\0'), QByteArray(70, 'a'), QByteArray(1000, 'b') + "\n"};
    QRandomGenerator random(2);
    for (int round = 0; round < 20000; ++round) {
        QByteArray file;
        for (int i = random.bounded(40); i > 0; --i)
            file += pieces.at(random.bounded(int(pieces.size())));
        const int keep = random.bounded(4);
        if (split(file, keep) != split_slowly(file, keep))
            QFAIL(file.toHex().constData());
    }
}

void test_mbox_splitter::lines_longer_than_a_block()
{
    for (const qsizetype extra : {-3, -1, 0, 1, 2, 300000}) {
        const QByteArray line(mbox_splitter::usual_block_size + extra, 'x');
        const QByteArray file = "From a\n" + line + "\nFrom b\n" + line + "\xFF\nFrom c\n" + line;
        const QList<QByteArray> messages = split(file, 0);
        QCOMPARE(messages.size(), 2);
        QVERIFY(messages.at(0) == "From a\n" + line + '\n');
        QVERIFY(messages.at(1) == "From b\n" + line + "\xEF\xBF\xBD\n");
    }
}

void test_mbox_splitter::pieces_of_a_long_line_are_converted_as_the_whole()
{
    static const QByteArray pieces[] = {
        "From ",    "\xEF\xBB\xBF", "\xC3\xA4", "\xF0\x9F\x98\x80",  "\xFF",
        "\xF0\x9F", "ab",           "\r",       "\357\273\277From ", QByteArray(1, '\0')};
    QRandomGenerator random(9);
    for (int round = 0; round < 12; ++round) {
        QByteArray line;
        const int ascii = random.bounded(3); // hardly any place to cut, some, many
        while (line.size() < 3 * mbox_splitter::usual_block_size)
            line +=
                ascii == 0 || random.bounded(30) < 10 * ascii ? pieces[random.bounded(int(std::size(pieces)))] : "\xFE";
        const QByteArray file = line + "\nFrom a\n" + line + "\nFrom b\n" + line;
        if (split(file, 0) != split_slowly(file, 0))
            QFAIL(qPrintable(QStringLiteral("round %1").arg(round)));
    }
}

void test_mbox_splitter::message_given_up()
{
    QByteArray file = "From a\n1\n" + QByteArray(mbox_splitter::usual_block_size, 'x') + "\nFrom b\n2\nFrom c\n";
    QBuffer device(&file);
    device.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    mbox_splitter splitter(device);
    while (splitter.message().isEmpty())
        QCOMPARE(splitter.read(), mbox_splitter::progress::reading);
    splitter.give_up_message();
    auto state = mbox_splitter::progress::reading;
    while (state == mbox_splitter::progress::reading)
        state = splitter.read();
    QCOMPARE(state, mbox_splitter::progress::message_complete);
    QCOMPARE(splitter.message(), QByteArray("From b\n2\n"));
}

void test_mbox_splitter::text_conversion_is_skipped_only_where_it_changes_nothing()
{
    QRandomGenerator random(3);
    int surviving = 0;
    for (int round = 0; round < 200000; ++round) {
        QByteArray line;
        for (int i = random.bounded(1, 6); i > 0; --i) // mostly leads and trails, to come near valid sequences
            line += char(random.bounded(4) == 0 ? random.bounded(256) : 0x80 + random.bounded(0x80));
        if (random.bounded(2))
            line = QString::fromUtf8(line).toUtf8() + line.left(1);
        const bool unchanged = local_text::converted(line) == line;
        surviving += unchanged;
        if ((local_text::surviving_lines(line) == line.size()) != unchanged)
            QFAIL(line.toHex().constData());
    }
    QVERIFY(surviving > 1000 && surviving < 199000);
}

QTEST_GUILESS_MAIN(test_mbox_splitter)
#include "test_mbox_splitter.moc"
