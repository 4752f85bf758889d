#include "host/summary.h"

#include "host/terminal.h"

#include <QJsonArray>

namespace {

void print_as_json(const run_summary &summary, const extract_options &options)
{
    const result_paths paths(options.result_dir);
    QJsonObject tables;
    for (auto table = summary.rows.cbegin(); table != summary.rows.cend(); ++table)
        tables[table.key()] = table.value();
    const QJsonObject object = {
        {QStringLiteral("state"), summary.state},
        {QStringLiteral("exit_status"), int(summary.status)},
        {QStringLiteral("mail"), summary.mail ? QJsonValue(counts_as_json(*summary.mail)) : QJsonValue()},
        {QStringLiteral("result_db"), paths.database},
        {QStringLiteral("tables"), tables},
        {QStringLiteral("attachments"), summary.attachment_files},
        {QStringLiteral("failures"), summary.failures < 0 ? QJsonValue() : QJsonValue(summary.failures)},
        {QStringLiteral("failure_lines"), QJsonArray::fromStringList(summary.failure_lines.first(
                                              qMin(summary.failure_lines.size(), max_shown_failures)))},
        {QStringLiteral("failure_sentences"), QJsonArray::fromStringList(summary.failure_sentences)},
        {QStringLiteral("seconds"), summary.seconds},
        {QStringLiteral("cancelled"), summary.cancelled},
        {QStringLiteral("run_record"), paths.run_record},
        {QStringLiteral("run_record_sha256"),
         summary.record_sha256.isEmpty() ? QJsonValue() : QJsonValue(summary.record_sha256)},
    };
    print_json(object);
}

/// Where a source is: its root when the plug-in read it in place, else the given paths.
QString place_of(const ready_source &source)
{
    if (!source.staged)
        return source.found.root;
    QStringList paths;
    for (const given_source &given : source.given)
        paths.append(given.path);
    return paths.join(QLatin1StringView(", ")) +
           (source.user.isEmpty() ? QString() : QString(u" (" + source.user + u')'));
}

/// Print by how many rows a table differs from the expectation.
void print_missing_rows(const table_balance &table)
{
    for (const difference &each : table.differences)
        print(QStringLiteral("  %1: %2 rows %3 than the %4 expected (%5)")
                  .arg(table.table)
                  .arg(qAbs(each.rows))
                  .arg(each.rows > 0 ? QStringLiteral("fewer") : QStringLiteral("more"))
                  .arg(table.expected)
                  .arg(each.reason));
}

void print_source(const source_record &record, const run_summary &summary)
{
    const evidence &found = record.source.found;
    const QString place = place_of(record.source);
    if (!found.has_artifacts) {
        const QString sought = looked_for(found.scheme);
        print(sought.isEmpty() ? QStringLiteral("%1 sources yield no rows.").arg(found.scheme)
                               : QStringLiteral("Nothing found: looked for %1 in %2").arg(sought, place));
    }
    print(QStringLiteral("%1 source %2, %3 in %4 s")
              .arg(found.scheme, place, summary.cancelled ? QStringLiteral("cancelled") : QStringLiteral("extracted"))
              .arg(summary.seconds, 0, 'f', 2));
    qint64 rows = 0;
    for (const table_balance &table : record.balance.tables) {
        rows += table.written;
        print_missing_rows(table);
    }
    if (rows == 0 && found.has_artifacts)
        print(QStringLiteral("  no rows found in %1").arg(place));
    for (const mbox_balance &mbox : record.balance.mailboxes) {
        QStringList differences;
        for (const difference &each : mbox.differences)
            differences.append(QStringLiteral("%1: %2").arg(each.reason).arg(each.rows));
        print(QStringLiteral("  %1: %2 separators, %3 rows%4")
                  .arg(mbox.place)
                  .arg(mbox.separators)
                  .arg(mbox.written)
                  .arg(differences.isEmpty() ? QString()
                                             : QString(u" (" + differences.join(QLatin1StringView(", ")) + u')')));
    }
    for (const QString &remark : record.source.remarks + record.source.expected.remarks)
        print(QLatin1StringView("  ") + remark);
    for (auto skipped = record.source.skipped.cbegin(); skipped != record.source.skipped.cend(); ++skipped)
        print(QStringLiteral("  skipped: %1 (%2)").arg(skipped.key()).arg(skipped.value()));
}

void print_as_text(const run_summary &summary, const extract_options &options, const QList<source_record> &sources)
{
    const result_paths paths(options.result_dir);
    for (const source_record &source : sources)
        print_source(source, summary);
    if (options.engine != 0)
        print(QStringLiteral("  engine type %1 extracts no rows; only 0 does").arg(options.engine));
    for (const QString &table : artifact_tables()) {
        if (!options.tables.contains(table))
            continue;
        print(QStringLiteral("  %1 %2 rows").arg(table, -16).arg(summary.rows.value(table), 10));
    }
    print(QStringLiteral("  %1 %2").arg(QStringLiteral("attachment files"), -16).arg(summary.attachment_files, 10));
    if (summary.failures < 0)
        print(QStringLiteral("  failures         not counted: there is no log (--no-log)"));
    else
        print(QStringLiteral("  %1 %2").arg(QStringLiteral("failures"), -16).arg(summary.failures, 10));
    for (const QString &sentence : summary.failure_sentences)
        print(QLatin1StringView("    ") + sentence);
    if (summary.failures > summary.failure_sentences.size())
        print(QStringLiteral("    and %1 more").arg(summary.failures - summary.failure_sentences.size()));
    if (summary.mail) {
        for (const QString &line : summary_lines(*summary.mail) + summary.mail->reading.remarks)
            print(QLatin1StringView("  ") + line);
    }
    print(QLatin1StringView("  result           ") + paths.database);
    if (options.log)
        print(QLatin1StringView("  log              ") + options.log_file);
    if (!summary.record_problem.isEmpty())
        return;
    print(QLatin1StringView("  record           ") + paths.run_record);
    print(QLatin1StringView("SHA-256 of run.json ") + summary.record_sha256);
}

} // namespace

void print_summary(const run_summary &summary, const extract_options &options, const QList<source_record> &sources)
{
    if (options.json)
        print_as_json(summary, options);
    else
        print_as_text(summary, options, sources);
    if (!summary.record_problem.isEmpty())
        complain(summary.record_problem);
}
