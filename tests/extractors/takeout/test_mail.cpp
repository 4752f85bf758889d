/// The parsers of one message: marks, header fields, body, attachments, base64.
#include "common/base64.h"
#include "extractors/takeout/mail_attachments.h"
#include "extractors/takeout/mail_body.h"
#include "extractors/takeout/mail_headers.h"
#include "extractors/takeout/mail_marks.h"
#include "tests/support/slow_mail.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <QTest>

#include <array>

namespace {

qint64 epoch(int year, int month, int day, int hour, int minute, int second)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), Qt::UTC).toSecsSinceEpoch();
}

QStringList texts_of(const std::vector<mail_attachments::parameter> &entries)
{
    QStringList texts;
    for (const mail_attachments::parameter &entry : entries)
        texts.append(QString::fromUtf8(entry.text));
    return texts;
}

/// `pieces` are separated by bars.
QByteArray random_text(QRandomGenerator &random, const char *pieces)
{
    const QList<QByteArray> all = QByteArray(pieces).split('|');
    QByteArray text;
    for (int i = random.bounded(60); i > 0; --i)
        text += all.at(random.bounded(int(all.size())));
    return text;
}

} // namespace

class test_mail : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void marks_are_the_first_occurrences();
    void texts_data();
    void texts();
    void unfolding();
    void dates_data();
    void dates();
    void dates_read_as_qt_reads_them();
    void plain_parts();
    void normalized_text_is_that_of_plain_replacing();
    void attachment_bodies();
    void entries_end_as_trimmed_texts_do();
    void attachments_of_one_message_stay_bounded();
    void given_up_when_cancelled();
    void attachment_bodies_are_those_of_a_plain_search();
    void one_line_of_many_names_stays_bounded();
    void base64_decodes_as_qt_does();
};

/// Against a plain search for each mark.
void test_mail::marks_are_the_first_occurrences()
{
    QRandomGenerator random(1);
    for (int round = 0; round < 20000; ++round) {
        const QByteArray bytes = random_text(random, "To: |\nTo: |From: |Subject: |Bcc: |Cc: |Date: |Content-Type: "
                                                     "|multipart|;|text/plain;|TEXT/PLAIN;|Content-Transfer-Encoding: "
                                                     "|base64|BASE64|\n|filename=|filename==|:| |x");
        const char *mark = mark_found_elsewhere(bytes);
        QVERIFY2(!mark, qPrintable(QLatin1StringView(mark) + u" in " + QLatin1StringView(bytes.toPercentEncoding())));
    }
}

void test_mail::texts_data()
{
    using function = QString (*)(QString);
    QTest::addColumn<void *>("reader");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const auto rows = [](const char *reader_name, function reader,
                         std::initializer_list<std::array<const char *, 3>> cases) {
        for (const auto &[name, text, expected] : cases)
            QTest::addRow("%s: %s", reader_name, name)
                << reinterpret_cast<void *>(reader) << QString::fromUtf8(text) << QString::fromUtf8(expected);
    };
    rows("recipients", [](QString text) { return mail_headers::recipient_names(text); },
         {{"named", "A <a@x>, B <b@x>", "A , B"},
          {"bare address", "a@x", "a@x"},
          {"bare address shifts the pairing", "a@x, B <b@x>", "a@x,b@x>"},
          {"address without a name", "<a@x>", "a@x>"},
          {"empty entries", ",, A <a@x>,\r", "A ,"},
          {"comma in a name", "\"Berg, Anna\" <a@x>", "\"Berg,a@x>"},
          {"empty", "", ""},
          {"only commas", " , , ", ","}});
    rows("sender", [](QString text) { return mail_headers::sender_name(text); },
         {{"named", "A B <a@x>\r", "A B"},
          {"bare address", "a@x", "a@x"},
          {"address without a name", "<a@x>", "a@x>"},
          {"two senders", "A <a@x>, B <b@x>", "Ab@x>"},
          {"empty", "", ""}});
    rows("normalized", mail_body::normalized,
         {{"quotes and dash", "=E2=80=9Ca=E2=80=9D=E2=80=99=E2=80=94", "\"a\"'-"},
          {"soft line breaks", "a=\nb=\r\nc", "ab=\r\nc"},
          {"percent escapes", "100%25 a%20b%C3%A4", "100% a bä"},
          {"other sequences stay", "=3D=20=E2=82=AC", "=3D=20=E2=82=AC"},
          {"escape joined by a soft line break", "=E2=80=\n=94%4=\n1", "-A"},
          {"leading byte order mark is dropped", "\uFEFF\uFEFFx", "x"}});
}

void test_mail::texts()
{
    QFETCH(void *, reader);
    QFETCH(QString, text);
    QTEST(reinterpret_cast<QString (*)(QString)>(reader)(text), "expected");
}

void test_mail::unfolding()
{
    const auto unfolded = [](const char *text, QStringList rest) {
        const auto next = [&rest](QString &collected) {
            const bool more = !rest.isEmpty();
            if (more)
                collected += rest.takeFirst();
            return more;
        };
        return mail_headers::unfolded(QString::fromLatin1(text), next);
    };
    const QStringList more = {QStringLiteral(" b,"), QStringLiteral(" c"), QStringLiteral(" d")};
    QCOMPARE(unfolded("a", more), QStringLiteral("a"));
    QCOMPARE(unfolded("a,", more), QStringLiteral("a, b, c"));
    QCOMPARE(unfolded("a, x", more), QStringLiteral("a, x b, c"));
    QCOMPARE(unfolded("a, x", more.mid(1)), QStringLiteral("a, x c")); // takes in any next line, once
    QCOMPARE(unfolded("a,", {}), QStringLiteral("a,"));
    QCOMPARE(unfolded("a,", more.mid(0, 1)), QStringLiteral("a, b,")); // the message ends
}

void test_mail::dates_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("seconds");
    const qint64 noon = epoch(2015, 1, 5, 12, 0, 0);
    QTest::newRow("plain") << "Mon, 05 Jan 2015 12:00:00" << noon;
    QTest::newRow("one digit") << "Mon, 5 Jan 2015 12:00:00 +0000" << noon;
    QTest::newRow("east") << "Mon, 5 Jan 2015 12:00:00 +0530" << noon - 19800;
    QTest::newRow("west, zone name") << "Mon, 5 Jan 2015 12:00:00 -0800 (PST)" << noon + 28800;
    QTest::newRow("plus after a minus wins") << "Mon, 5 Jan 2015 12:00:00 -0800 (X+1)" << qint64(0);
    QTest::newRow("broken offset") << "Mon, 5 Jan 2015 12:00:00 +x1y" << noon;
    QTest::newRow("short offset") << "Mon, 5 Jan 2015 12:00:00 +1" << noon - 3600;
    QTest::newRow("blank in the offset") << "Mon, 5 Jan 2015 12:00:00 +05 3" << noon - 18000 - 180;
    QTest::newRow("other case") << "MON, 5 jan 2015 12:00:00" << noon;
    QTest::newRow("skipped by daylight saving in Berlin")
        << "Sun, 31 Mar 2024 02:30:00" << epoch(2024, 3, 31, 2, 30, 0);
    QTest::newRow("leap day") << "Thu, 29 Feb 2024 23:59:59 +0000" << epoch(2024, 2, 29, 23, 59, 59);
    QTest::newRow("before the epoch") << "Wed, 31 Dec 1969 23:59:59" << qint64(-1);
    for (const char *text :
         {"", "5 Jan 2015 12:00:00 +0100", "Tue, 5 Jan 2015 12:00:00 +0100", "Mon, 5 Jan 2015 1:00:00",
          "Mon, 5 Jan 15 12:00:00", "Mon, 5 Jan 2015 12:00:00 GMT", "Mon, 5 Jan 2015 24:00:00",
          "Mon,  5 Jan 2015 12:00:00", "Monday, 5 Jan 2015 12:00:00", "Sun, 29 Feb 2015 12:00:00 +0100"})
        QTest::newRow(qPrintable(QLatin1StringView("refused: ") + QLatin1StringView(text))) << text << qint64(0);
}

void test_mail::dates()
{
    QFETCH(QString, text);
    QTEST(mail_headers::epoch_of_date(text), "seconds");
}

void test_mail::dates_read_as_qt_reads_them()
{
    const QStringList days = QStringLiteral("Mon Tue Wed Thu Fri Sat Sun mon MON Mo Monday 1").split(u' ');
    const QStringList months =
        QStringLiteral("Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec dec Sept January 1").split(u' ');
    QRandomGenerator random(4);
    const auto number = [&random](int highest) {
        return QStringLiteral("%1").arg(random.bounded(highest), random.bounded(8) ? 2 : 1, 10, QChar(u'0'));
    };
    int valid = 0;
    for (int round = 0; round < 4000; ++round) {
        const int year = random.bounded(10) ? 1900 + random.bounded(200) : random.bounded(12000);
        const int month = random.bounded(12);
        QString day = number(33);
        const QDate date(year, month + 1, day.toInt());
        const QString weekday = random.bounded(8) && date.isValid() ? days.at(date.dayOfWeek() - 1)
                                                                    : days.at(random.bounded(int(days.size())));
        QString text =
            QStringLiteral("%1, %2 %3 %4 %5:%6:%7")
                .arg(weekday, day, random.bounded(8) ? months.at(month) : months.at(random.bounded(int(months.size()))))
                .arg(year, random.bounded(9) ? 4 : 0, 10, QChar(u'0'))
                .arg(number(25), number(61), number(61));
        if (random.bounded(10) == 0)
            text.insert(random.bounded(int(text.size())), QStringLiteral(" x,:1")[random.bounded(5)]);
        const QDateTime expected = wall_clock_by_qt(text);
        valid += expected.isValid();
        const qint64 seconds = expected.isValid() ? expected.toSecsSinceEpoch() : 0;
        QVERIFY2(mail_headers::epoch_of_date(text) == seconds, qPrintable(text));
    }
    QVERIFY(valid > 1000);
}

void test_mail::plain_parts()
{
    const QByteArray bytes = "From x\r\nContent-Type: multipart/mixed; boundary=\"----=_a\"\r\n\r\n"
                             "------=_a\r\nContent-Type: text/plain; x\r\n\r\none\r\n\r\nmore\r\n\r\n------=_a\r\n"
                             "Content-Type: text/plainer; x\r\n\r\nno\r\n\r\n------=_a\r\n"
                             "Content-Type: TEXT/PLAIN ; x\r\n\r\ntwo\r\n\r\n------=_a\r\n"
                             "Content-Type: text/plain;\r\n\r\nunended";
    const mail_marks message(bytes);
    QStringList texts;
    for (const mail_body::plain_part &part : mail_body::plain_parts(message))
        texts.append(part.body.isNull() ? QStringLiteral("none") : QString::fromUtf8(part.body));
    QCOMPARE(texts,
             QStringList({QStringLiteral("one\r\n\r\nmore\r"), QStringLiteral("two\r"), QStringLiteral("none")}));
}

void test_mail::normalized_text_is_that_of_plain_replacing()
{
    QRandomGenerator random(8);
    for (int round = 0; round < 20000; ++round) {
        const QString text = QString::fromUtf8(
            random_text(random, "=E2=80=9C|=E2=80=9D|=E2=80=99|=E2=80=94|=\n|=E2|=80|=|9C|a|\xC3\xA4"));
        QString expected = text;
        expected.replace(QStringLiteral("=E2=80=9C"), QStringLiteral("\""));
        expected.replace(QStringLiteral("=E2=80=9D"), QStringLiteral("\""));
        expected.replace(QStringLiteral("=E2=80=99"), QStringLiteral("'"));
        expected.remove(QStringLiteral("=\n"));
        expected.replace(QStringLiteral("=E2=80=94"), QStringLiteral("-"));
        QCOMPARE(mail_body::normalized(text), expected);
    }
}

void test_mail::entries_end_as_trimmed_texts_do()
{
    QRandomGenerator random(9);
    for (int round = 0; round < 2000; ++round) {
        const QByteArray line =
            "filename=" +
            random_text(random, "\xEF\xBB\xBF|\xC2\xA0|\xC2\x85|\xE3\x80\x80|\xE2\x80\x8B| |\t|\r|\f|a|\xC3\xA4");
        const mail_marks message(line);
        QCOMPARE(mail_attachments::parameters(message).entries.front().text.toByteArray(),
                 QString::fromUtf8(line).trimmed().toUtf8());
    }
}

void test_mail::attachments_of_one_message_stay_bounded()
{
    const qsizetype most = qsizetype(mail_attachments::max_of_message);
    const QByteArray bytes = 'x' + QByteArray("filename=a\r\n").repeated(most + 7);
    const mail_attachments::parameter_list list = mail_attachments::parameters(mail_marks(bytes));
    QCOMPARE(qsizetype(list.entries.size()), most);
    QCOMPARE(list.left_out_of_message, qsizetype(7));
    QCOMPARE(list.left_out, qsizetype(0));
}

void test_mail::given_up_when_cancelled()
{
    cancel_flag cancelled;
    cancelled.set(true);
    const mail_marks message("x\nTo: a\nContent-Type: text/plain;\r\n\r\nfilename=a\r\n\r\nQQ==", &cancelled);
    QVERIFY(message.is_cancelled());
    QCOMPARE(message.to, qsizetype(-1));
    QVERIFY(message.file_names.empty() && mail_body::plain_parts(message).empty());
}

void test_mail::attachment_bodies()
{
    const QByteArray bytes = "x filename=\"a\"\r\n\r\nQQ==\r\nfilename=\"b\"; filename=c\xE2\x80\x83\xC2\xA0 "
                             "\r\n\r\nQg\r\nfilename=\"a\"\r\n\r\nQw==";
    const mail_marks message(bytes);
    const std::vector<mail_attachments::parameter> entries = mail_attachments::parameters(message).entries;
    QCOMPARE(texts_of(entries),
             QStringList({QStringLiteral("filename=\"a\""), QStringLiteral("filename=\"b\"; filename=c"),
                          QStringLiteral("filename=c"), QStringLiteral("filename=\"a\"")}));
    QStringList bodies;
    for (const QByteArrayView body : mail_attachments::bodies(message, entries))
        bodies.append(QString::fromLatin1(decoded_base64(body)));
    // Without "==" a body runs on, over the next attachment; entries of one text share the first one's body.
    const QString run_on = QString::fromLatin1(decoded_base64("Qgfilename\"a\"Qw"));
    QCOMPARE(bodies, QStringList({QStringLiteral("A"), run_on, run_on, QStringLiteral("A")}));
    QCOMPARE(mail_attachments::name_in(entries.at(1).text), QStringLiteral("b; c"));
}

void test_mail::attachment_bodies_are_those_of_a_plain_search()
{
    QRandomGenerator random(5);
    for (int round = 0; round < 20000; ++round) {
        const QByteArray bytes =
            'x' + random_text(random, "filename=|filename=a|filename=ab|\n|\r\n|\r\n\r\n|==|=|a|b| |\"|\xC3\xA4|QUJD");
        const mail_marks message(bytes);
        const std::vector<mail_attachments::parameter> entries = mail_attachments::parameters(message).entries;
        const std::vector<QByteArrayView> bodies = mail_attachments::bodies(message, entries);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const QByteArrayView expected = attachment_body_by_plain_search(bytes, entries[i].text);
            QVERIFY2(bodies[i] == expected && bodies[i].isNull() == expected.isNull(),
                     bytes.toPercentEncoding().constData());
        }
    }
}

void test_mail::one_line_of_many_names_stays_bounded()
{
    const QByteArray bytes = 'x' + QByteArray("filename=").repeated(100000) + "\nfilename=real\r\n\r\nQQ==";
    const mail_attachments::parameter_list list = mail_attachments::parameters(mail_marks(bytes));
    qsizetype size = 0;
    for (const mail_attachments::parameter &entry : list.entries)
        size += entry.text.size();
    QVERIFY(size <= mail_attachments::max_characters_of_others + 5 * bytes.size());
    QCOMPARE(list.left_out, 100001 - qsizetype(list.entries.size()));
    QCOMPARE(list.entries.back().text.toByteArray(), QByteArray("filename=real")); // others are not affected
}

void test_mail::base64_decodes_as_qt_does()
{
    QRandomGenerator random(6);
    for (int round = 0; round < 20000; ++round) {
        QByteArray encoded;
        for (int i = random.bounded(200); i > 0; --i)
            encoded += char(random.bounded(8) ? "ABCDwxyz0189+/ab"[random.bounded(16)] : random.bounded(256));
        const QByteArray expected = QByteArray::fromBase64(encoded);
        QCOMPARE(decoded_base64(encoded), expected);

        const qsizetype cut = random.bounded(int(encoded.size()) + 1); // in two pieces
        QByteArray decoded(2 * base64_decoder::room_for(encoded.size()), '\0');
        base64_decoder decoder;
        qsizetype size = decoder.decode(QByteArrayView(encoded).first(cut), decoded.data());
        size += decoder.decode(QByteArrayView(encoded).sliced(cut), decoded.data() + size);
        QCOMPARE(decoded.left(size), expected);
    }
}

int main(int argc, char *argv[])
{
    qputenv("TZ", "Europe/Berlin"); // no date of a mail may depend on it
    QCoreApplication application(argc, argv);
    test_mail test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_mail.moc"
