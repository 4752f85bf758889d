#include "host/results/export.h"
#include "host/results/export_file.h"
#include "host/terminal.h"

namespace {

/// The columns that describe a row in a timeline, in addition to those of all tables.
struct described_table
{
    const char *name;
    const char *account;     ///< SQL
    const char *description; ///< SQL
};

constexpr described_table described_tables[] = {
    {"messages", "account_id",
     "coalesce(subject, '') || coalesce('; from ' || nullif(from_list, ''), '') || "
     "coalesce('; to ' || nullif(to_list, ''), '')"},
    {"mailbox", "account_id", "coalesce(display_name, '')"},
    {"cookies", "account_id", "coalesce(host_key, '') || ' ' || coalesce(name, '')"},
    {"mail", "null",
     "coalesce(subject, '') || coalesce('; from ' || (select coalesce(name || ' <' || address || '>', address, name) "
     "from mail_db.address a where a.mail = mail.id and role = 'from' order by position limit 1), '') || "
     "coalesce('; ' || message_id, '')"},
};

/// All times with what describes them, in their order. Sorting is SQLite's: beyond its memory it uses temporary files.
QByteArray query_of(const result_reader &reader)
{
    QByteArrayList selects;
    for (const described_table &each : described_tables) {
        const result_table *table = reader.table(each.name);
        if (!table)
            continue;
        for (const QByteArray &time : table->times())
            selects.append("select " + quoted(time) + ", '" + each.name + '.' + time + "', " + table->known->key +
                           ", source_count_name, " + each.account + ", " + each.description + ", source_file from " +
                           table->sql_name() + " where " + table->has_time(time));
    }
    return selects.join(" union all ") + " order by 1, 2, 3";
}

/// One of the five fields; characters that would end it or the line are escaped.
void write_field(export_file &file, QByteArrayView text)
{
    file.write(escaped_utf8(text).replace('|', "\\x7C"));
}

} // namespace

maybe_refusal export_tln(export_job &job)
{
    export_file file(job.directory.path(QStringLiteral("timeline.tln")));
    sqlite_statement rows = job.reader.query(query_of(job.reader));
    qint64 count = 0;
    for (; !file.has_failed() && rows.next(); ++count) {
        if (!job.go_on())
            return cancelled_export();
        file.write(QByteArray::number(rows.number(0)));
        file.write("|Gmail|");
        write_field(file, rows.text(3));
        file.write('|');
        write_field(file, rows.text(4));
        file.write('|');
        write_field(file, QByteArray(rows.text(1) + ' ' + rows.text(2) + ": " + rows.text(5) + "; " + rows.text(6)));
        file.write('\n');
    }
    if (maybe_refusal unwritten = file.close())
        return unwritten;
    job.about = {
        QStringLiteral("timeline.tln has a line for every time of every table, in the order of the times: "
                       "Time|Source|Host|User|Description."),
        QStringLiteral(
            "Time is seconds since 1970-01-01 00:00:00 UTC; Host is source_count_name, the source's number in the "
            "result; User is account_id. A \"|\" in a text is written as \\x7C."),
        QStringLiteral("  %1 times; rows without a time are not in it").arg(count),
    };
    return job.reader.failure(rows);
}
