#include "host/results/aligned_table.h"
#include "host/results/show.h"
#include "host/results/time_text.h"
#include "host/terminal.h"

namespace {

constexpr int max_listed = 10;

/// Prints titles and tables, and keeps the first failure.
class overview
{
public:
    overview(const result_reader &opened, const show_layout &wanted)
        : reader(opened)
        , layout(wanted)
    {
    }

    void print_places();
    void print_counts();
    void print_mail();

    /// A table of all rows that a query gives; nothing when it gives none.
    void list(const QString &title, const QStringList &headings, const QByteArray &query)
    {
        if (!failed)
            failed = show_list(reader, layout, title, headings, query);
    }

    maybe_refusal failed;

private:
    void count(const result_table &table, aligned_table &lines);

    const result_reader &reader;
    const show_layout &layout;
};

/// How the last run ended, in a line.
QString record_line(const QJsonObject &record)
{
    if (record.isEmpty())
        return QStringLiteral("none: the result comes from the suite, or its run.json cannot be read");
    QString line = QStringLiteral("run %1, started %2").arg(record[u"state"].toString(), record[u"started"].toString());
    if (record[u"ended"].isString())
        line += QStringLiteral(", ended ") + record[u"ended"].toString();
    if (record[u"failures"].isDouble())
        line += QStringLiteral(", failures: %1").arg(record[u"failures"].toInteger());
    return line;
}

void overview::print_places()
{
    print(QLatin1StringView("Result   ") + reader.database());
    print(QLatin1StringView("Record   ") + record_line(reader.run_record()));
    print(reader.has_mail()
              ? QString(QLatin1StringView("Mail     ") + reader.directory() + QLatin1StringView("Mail.sqlite"))
              : QString(QLatin1StringView("Mail     not available: ") + reader.mail_problem()->text));
}

/// The rows of the table, those without any time, and the earliest and the latest of all its times.
void overview::count(const result_table &table, aligned_table &lines)
{
    QByteArray spans;
    QByteArrayList none;
    for (const QByteArray &time : table.times()) {
        const QByteArray is_there = table.has_time(time);
        const QByteArray time_or_null = "case when " + is_there + " then " + quoted(time) + " end";
        spans += ", min(" + time_or_null + "), max(" + time_or_null + ")";
        none.append("not (" + is_there + ")");
    }
    const QByteArray without = none.isEmpty() ? QByteArray("null") : QByteArray("sum(" + none.join(" and ") + ")");
    sqlite_statement row = reader.query("select count(*), " + without + spans + " from " + table.sql_name());
    if (!row.next()) {
        failed = reader.failure(row);
        return;
    }
    std::optional<qint64> first, last;
    for (int i = 2; i < row.columns(); ++i) {
        if (row.at(i).stored_as != cell::type::integer)
            continue;
        first = std::min(first.value_or(row.number(i)), row.number(i));
        last = std::max(last.value_or(row.number(i)), row.number(i));
    }
    lines.add({QString::fromLatin1(table.known->name), QString::number(row.number(0)),
               first ? utc_text_of(*first) : QString(), last ? utc_text_of(*last) : QString(),
               QString::fromUtf8(row.text(1))});
}

void overview::print_counts()
{
    print(QString());
    aligned_table lines({QStringLiteral("table"), QStringLiteral("rows"), QStringLiteral("first time (UTC)"),
                         QStringLiteral("last time (UTC)"), QStringLiteral("without a time")},
                        layout.width);
    for (const result_table &table : reader.tables()) {
        if (!failed && table.name() != "exportfilelist") // of the suite
            count(table, lines);
    }
    lines.finish();
}

QByteArray counted(const QByteArray &columns, const QByteArray &table, const QByteArray &order = "count(*) desc, 1")
{
    return "select " + columns + ", count(*) from " + table + " group by " + columns + " order by " + order;
}

void overview::print_mail()
{
    const QString mails = QStringLiteral("mails");
    const QByteArray limit = " limit " + QByteArray::number(max_listed);
    list(QStringLiteral("Labels (the most frequent)"), {QStringLiteral("label"), mails},
         counted("label", "mail_db.label") + limit);
    list(QStringLiteral("Senders (the most frequent)"), {QStringLiteral("address"), mails},
         "select address, count(distinct mail) from mail_db.address where role = 'from' and address is not null "
         "group by lower(address) order by 2 desc, 1" +
             limit);
    list(QStringLiteral("Mails without a row"), {QStringLiteral("why"), mails},
         "select coalesce(row_note, 'not compared with the rows yet'), count(*) from mail_db.mail where row is null "
         "group by 1 order by 2 desc, 1" +
             limit);
    list(QStringLiteral("Differences between the mails and their rows"),
         {QStringLiteral("field"), QStringLiteral("kind"), QStringLiteral("count"), QStringLiteral("explanation")},
         "select field, kind, count(*), explanation from mail_db.difference group by field, kind, explanation "
         "order by 3 desc, 1, 2");
    list(QStringLiteral("Stored attachment files, compared with the parts of the mails"),
         {QStringLiteral("kind"), QStringLiteral("files")}, counted("kind", "mail_db.attachment_file"));
}

} // namespace

maybe_refusal show_overview(const result_reader &reader, const show_layout &layout)
{
    overview all(reader, layout);
    all.print_places();
    all.print_counts();
    QByteArrayList accounts;
    for (const char *table : {"messages", "attachments", "mailbox", "cookies"})
        accounts.append(QByteArray("select coalesce(nullif(account_id, ''), '(none)') as account_id, '") + table +
                        "' as held_in from main." + table);
    accounts.append("select email_address, 'accounts' from main.accounts");
    const QString rows = QStringLiteral("rows");
    all.list(QStringLiteral("Accounts"), {QStringLiteral("account"), QStringLiteral("table"), rows},
             counted("account_id, held_in", '(' + accounts.join(" union all ") + ")", "1, 2"));
    QByteArrayList sources;
    for (const char *table : {"messages", "attachments", "accounts", "mailbox", "cookies"})
        sources.append(QByteArray("select source_count_name, source_file, '") + table + "' as held_in from main." +
                       table);
    all.list(QStringLiteral("Sources"),
             {QStringLiteral("source"), QStringLiteral("file"), QStringLiteral("table"), rows},
             counted("source_count_name, source_file, held_in", '(' + sources.join(" union all ") + ")", "1, 2, 3"));
    if (reader.has_mail())
        all.print_mail();
    if (all.failed)
        return all.failed;
    return reader.changed();
}
