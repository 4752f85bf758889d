/// Rows as `row_writer` stores them, compared with those of a plain QSqlQuery with the same texts bound one by one.
#include "extractors/rows/row_writer.h"
#include "tests/support/support.h"

#include <QSqlQuery>
#include <QTest>

#include <random>

class test_row_writer : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void stored_as_bound_texts_are();
    void failures_tell_the_given_statement_data();
    void failures_tell_the_given_statement();

private:
    QTemporaryDir directory;
    QSqlDatabase db;
};

namespace {

const QString insert_into_written = QStringLiteral("insert into written values(?,?,?)");

} // namespace

void test_row_writer::init()
{
    db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
    db.setDatabaseName(directory.filePath(QStringLiteral("rows.sqlite")));
    QVERIFY(db.open());
    for (const char *table : {"written", "bound"}) {
        QSqlQuery(db).exec(QStringLiteral("drop table if exists %1").arg(QLatin1StringView(table)));
        QVERIFY(QSqlQuery(db).exec(
            QStringLiteral("create table %1 (a varchar(500), b INTEGER, c varchar(500) check(c is not 'no'))")
                .arg(QLatin1StringView(table))));
    }
}

void test_row_writer::cleanup()
{
    db = QSqlDatabase();
    QSqlDatabase::removeDatabase(QLatin1StringView(QSqlDatabase::defaultConnection));
}

void test_row_writer::stored_as_bound_texts_are()
{
    const QString longer(20'000, u'x');
    const QString greek(20'000, QChar(0x3B1));
    const QChar lone_surrogate(0xD83D);
    const QStringList texts = {QString(),
                               QStringLiteral(""),
                               QString::fromLatin1(""),
                               QStringLiteral("constant"),
                               QStringLiteral("12"),
                               QStringLiteral("a\0b").left(3),
                               QString(lone_surrogate),
                               longer,
                               greek,
                               greek + QStringLiteral("\U0001F600"),
                               longer + QChar::Null + longer,
                               QChar::ByteOrderMark + longer,
                               QChar::ByteOrderSwapped + longer,
                               longer + lone_surrogate,
                               lone_surrogate + longer};
    std::mt19937 dice(1); // NOLINT(cert-msc51-cpp): the same rows each time
    const auto any_text = [&] { return texts.at(static_cast<qsizetype>(dice() % std::size_t(texts.size()))); };
    QList<QStringList> rows;
    for (int i = 0; i < 600; ++i) {
        const QString first = any_text();
        rows.append({i < 20 ? texts.at(3) : first, dice() % 2 ? first : any_text(), any_text()});
    }
    {
        row_writer writer(db, insert_into_written,
                          [](const QString &, const QString &error) { QFAIL(qPrintable(error)); });
        for (const QStringList &row : std::as_const(rows))
            QVERIFY(writer.insert(row));
    }
    // The end of the writer committed the last ones.
    QCOMPARE(rows_of(db.databaseName(), QStringLiteral("select count(*) from written")),
             QStringList(QStringLiteral("600")));
    QSqlQuery plain(db);
    QVERIFY(plain.prepare(QStringLiteral("insert into bound values(?,?,?)")));
    db.transaction();
    for (const QStringList &row : std::as_const(rows)) {
        for (const QString &text : row)
            plain.addBindValue(text);
        QVERIFY(plain.exec());
    }
    QVERIFY(db.commit());
    const QString differing = QStringLiteral(
        "select w.rowid from written w join bound b on b.rowid = w.rowid where (typeof(w.a), hex(w.a), typeof(w.b), "
        "hex(w.b), typeof(w.c), hex(w.c)) <> (typeof(b.a), hex(b.a), typeof(b.b), hex(b.b), typeof(b.c), hex(b.c))");
    QCOMPARE(rows_of(db.databaseName(), differing), QStringList());
}

void test_row_writer::failures_tell_the_given_statement_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("short") << QStringLiteral("x");
    QTest::newRow("long") << QString(20'000, u'x');
}

void test_row_writer::failures_tell_the_given_statement()
{
    QFETCH(QString, text);
    QStringList reported;
    row_writer writer(db, insert_into_written, [&reported](const QString &statement, const QString &error) {
        reported += {statement, error};
    });
    QVERIFY(writer.insert({text, QString(), QStringLiteral("yes")}));
    QVERIFY(!writer.insert({text, QString(), QStringLiteral("no")}));
    QVERIFY(writer.insert({text, QString(), QStringLiteral("yes")}));
    writer.commit();
    QCOMPARE(reported.size(), 2);
    QCOMPARE(reported.first(), insert_into_written);
    QVERIFY2(reported.last().contains(u"CHECK constraint"), qPrintable(reported.last()));
    QCOMPARE(rows_of(db.databaseName(), QStringLiteral("select a = '%1', b, c from written").arg(text)),
             QStringList({QStringLiteral("1|NULL|yes"), QStringLiteral("1|NULL|yes")}));
}

QTEST_GUILESS_MAIN(test_row_writer)
#include "test_row_writer.moc"
