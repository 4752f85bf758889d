/// CSV and JSON lines: a file per table.
#include "host/results/export.h"
#include "host/results/export_file.h"
#include "host/results/text_formats.h"

namespace {

QByteArray query_of(const result_table &table)
{
    QByteArrayList names;
    for (const result_column &each : table.columns)
        names.append(quoted(each.name));
    return "select " + names.join(", ") + " from " + table.sql_name();
}

/// Call `write` for every row of a table; `failed` ends it early.
maybe_refusal each_row(const export_job &job, const result_table &table, const std::function<bool()> &failed,
                       const std::function<void(const sqlite_statement &)> &write)
{
    sqlite_statement rows = job.reader.query(query_of(table));
    while (!failed() && rows.next()) {
        if (!job.go_on())
            return cancelled_export();
        write(rows);
    }
    return job.reader.failure(rows);
}

QString line_about(const result_table &table, qint64 rows)
{
    return QStringLiteral("  %1 %2 rows").arg(QLatin1StringView(table.known->name), -16).arg(rows, 10);
}

} // namespace

maybe_refusal cancelled_export()
{
    return refusal{exit_status::interrupted, QString()};
}

maybe_refusal export_csv(export_job &job)
{
    job.about = {
        QStringLiteral("Each table is a file: CSV by RFC 4180, UTF-8 with a byte order mark, comma as separator."),
        QStringLiteral("An empty cell is NULL; an empty text is \"\"."),
        QStringLiteral("A text that a spreadsheet would run as a formula has an apostrophe (') before it, which is not "
                       "in the result. The list shows how many cells of a table have one."),
        QStringLiteral(
            "A spreadsheet may cut long texts (Excel: after 32,767 characters). The JSON lines have all texts "
            "unchanged."),
    };
    for (const result_table &table : job.reader.tables()) {
        csv_file file(job.directory.path(QLatin1StringView(table.known->name) + QLatin1StringView(".csv")),
                      table.columns);
        qint64 count = 0;
        maybe_refusal refused = each_row(
            job, table, [&file] { return file.has_failed(); },
            [&](const sqlite_statement &row) {
                for (int i = 0; i < row.columns(); ++i)
                    file.add(row.at(i), table.columns.at(i));
                file.end_row();
                ++count;
            });
        if (maybe_refusal unwritten = file.close(); unwritten || refused)
            return unwritten ? unwritten : refused;
        QString line = line_about(table, count);
        if (file.disarmed() > 0)
            line += QStringLiteral(", %1 cells with an apostrophe added").arg(file.disarmed());
        if (file.replaced() > 0)
            line += QStringLiteral(", %1 cells in which NUL characters became U+FFFD").arg(file.replaced());
        job.about.append(line);
    }
    return {};
}

maybe_refusal export_jsonl(export_job &job)
{
    job.about = {
        QStringLiteral("Each table is a file with a JSON object per line and row, in UTF-8. Numbers are numbers, "
                       "NULL is null, all texts are unchanged.")};
    for (const result_table &table : job.reader.tables()) {
        export_file file(job.directory.path(QLatin1StringView(table.known->name) + QLatin1StringView(".jsonl")));
        qint64 count = 0;
        maybe_refusal refused = each_row(
            job, table, [&file] { return file.has_failed(); },
            [&](const sqlite_statement &row) {
                for (int i = 0; i < row.columns(); ++i) {
                    file.write(i == 0 ? '{' : ',');
                    write_json_string(file, table.columns.at(i).name);
                    file.write(':');
                    write_json_value(file, row.at(i), table.columns.at(i));
                }
                file.write("}\n");
                ++count;
            });
        if (maybe_refusal unwritten = file.close(); unwritten || refused)
            return unwritten ? unwritten : refused;
        job.about.append(line_about(table, count));
    }
    return {};
}
