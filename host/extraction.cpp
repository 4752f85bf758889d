#include "host/extraction.h"

#include "host/log_file.h"
#include "host/plugin_run.h"
#include "host/progress.h"
#include "host/reading/mail_places.h"
#include "host/reading/reading_job.h"
#include "host/reading/reading_process.h"
#include "host/records/failure_text.h"
#include "host/source_kinds.h"
#include "host/sources/staging.h"
#include "host/terminal.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>

#include <algorithm>

namespace {

QSet<QString> files_in(const QString &directory)
{
    QSet<QString> names;
    for (QDirIterator files(directory, QDir::Files | QDir::Hidden | QDir::System); files.hasNext();) {
        files.next();
        names.insert(files.fileName());
    }
    return names;
}

/// How many tables the plug-in will report.
int tables_of(const QList<ready_source> &sources, const extract_options &options)
{
    int tables = 0;
    for (const ready_source &source : sources)
        tables +=
            kind_of_scheme(source.found.scheme)->counts_tables_as_one ? 1 : static_cast<int>(options.tables.size());
    return tables;
}

/// The files in "Attachments" belong to rows of `messages`: clearing the rows removes them.
void remove_attachments_of_cleared_rows(const extract_options &options)
{
    if (!options.clear || options.engine != 0 || !options.tables.contains(QLatin1StringView("messages")))
        return;
    QDir attachments(result_paths(options.result_dir).attachments);
    for (const QString &name : attachments.entryList(QDir::Files | QDir::Hidden | QDir::System))
        attachments.remove(name);
}

} // namespace

extraction::extraction(const extract_options &run_options, plugin_run &loaded, reading_process &mail_reader,
                       staging_area &staged, progress_display &shown, signal_watch &watch)
    : options(run_options)
    , paths(run_options.result_dir)
    , plugin(loaded)
    , reading(mail_reader)
    , staging(staged)
    , progress(shown)
    , signals_watched(watch)
    , queue(run_options.threads)
{
}

/// The failures of this source: those that the log reports after `offset`.
void extraction::count_failures(const ready_source &source, qint64 offset)
{
    log_file log(options.log_file);
    if (!log.open(offset)) {
        add_failure(options.log_file + QLatin1StringView(": the log cannot be read (") + log.error() + u')');
        return;
    }
    bool is_whole = false;
    for (log_file::piece piece; log.next(piece);) {
        is_whole = piece.readable && piece.line.endsWith("[pub_extract_artifacts] - END");
        const QString line = QString::fromUtf8(piece.line);
        if (!piece.readable)
            add_failure(options.log_file + QLatin1StringView(": part of the log cannot be deciphered"), line);
        else if (tells_failure(piece.line))
            add_failure(sentence_of_failure(line, source, paths), line);
    }
    if (!is_whole && !is_cancelled())
        add_failure(options.log_file +
                    QLatin1StringView(": the log is incomplete; some failures may be missing from it")); // a full disk
}

void extraction::add_failure(const QString &sentence, const QString &line)
{
    constexpr qsizetype max_failure_lines = 1000;
    summary.failures = qMax<qint64>(summary.failures, 0) + 1;
    if (summary.failure_lines.size() < max_failure_lines)
        summary.failure_lines.append(line.isEmpty() ? sentence : line);
    if (summary.failure_sentences.size() < max_shown_failures)
        summary.failure_sentences.append(sentence);
}

/// Called for each block that is read during the extraction: shows progress; false stops the reading.
bool extraction::go_on(qint64 bytes)
{
    progress.show_bytes(bytes_done += bytes, bytes_in_all);
    return !is_cancelled();
}

/// The total is known once every source is counted.
void extraction::add_expected_rows(qsizetype sources, const expected_rows &expected)
{
    const std::lock_guard lock(expected_mutex);
    for (const QString &table : options.tables) {
        const qint64 rows = expected.tables.value(table, -1);
        rows_expected = rows < 0 || rows_expected < 0 ? -1 : rows_expected + rows;
    }
    if (++sources_counted == sources)
        progress.expect_rows(rows_expected);
}

/// With one thread the first looks are done before the extraction, otherwise during it.
void extraction::begin_first_looks(const QList<ready_source> &sources)
{
    if (!options.hash)
        return;
    const auto wanted = [this](qint64 bytes) { return go_on(bytes); };
    evidence = std::make_unique<evidence_check>(
        queue, wanted, options.hash_once ? evidence_check::again::identity : evidence_check::again::hash);
    attachments = std::make_unique<attachment_hashes>(paths.attachments, queue, wanted);
    for (qsizetype i = 0; i < sources.size(); ++i)
        evidence->begin(sources.at(i), staging.folder(static_cast<int>(i)) + QLatin1StringView("counting/"),
                        [this, count = sources.size()](const expected_rows &rows) { add_expected_rows(count, rows); });
    if (!queue.works_in_turn())
        return;
    bytes_in_all = evidence->bytes_in_all();
    progress.begin_phase(QStringLiteral("reading the source"));
    for (qsizetype i = 0; i < sources.size(); ++i) {
        ready_source looked_at = sources.at(i);
        evidence->finish_first_look(static_cast<std::size_t>(i), looked_at);
    }
}

/// The second look at an mbox begins as soon as rows of another one arrive.
void extraction::show_progress(const ready_source &source, qint64 records, int tabs)
{
    progress.show_records(records, tabs);
    if (!evidence || source.found.scheme != takeout_scheme || source.files.size() < 2)
        return;
    const QString place = last_source_file(paths.database).mid(1);
    if (!file_at_hand.isEmpty() && place != file_at_hand)
        evidence->look_again(source.found.root + file_at_hand);
    file_at_hand = place;
}

void extraction::extract(ready_source source, last_rows &before)
{
    const bool first = record.sources.isEmpty();
    extract_options of_source = options;
    of_source.source_count += static_cast<int>(record.sources.size());
    of_source.clear = options.clear && first;
    const qint64 failures_before = summary.failures;
    const qint64 log_begin = options.log ? QFileInfo(options.log_file).size() : 0;
    file_at_hand.clear();
    plugin.on_progress([&](qint64 records, int tabs) { show_progress(source, records, tabs); });
    plugin.run(of_source, source.found);
    plugin.on_progress([](qint64, int) {});
    if (evidence) {
        evidence->finish_first_look(static_cast<std::size_t>(record.sources.size()), source);
        evidence->look_again(source);
    }

    if (options.log) {
        summary.failures = qMax<qint64>(summary.failures, 0);
        count_failures(source, log_begin);
    }
    last_rows after;
    maybe_refusal unreadable = find_last_rows(paths.database, after);
    if (!QFileInfo::exists(paths.database))
        unreadable = refusal{exit_status::bad_result, paths.database + QLatin1StringView(": was not created")};
    if (unreadable) {
        add_failure(unreadable->text);
        result_lost = true;
    }
    if (of_source.clear && options.engine == 0) {
        for (const QString &table : options.tables)
            before[table] = 0;
    }
    for (const QString &table : artifact_tables())
        summary.rows[table] += after.value(table) - before.value(table);

    const run_circumstances run = {options.tables, is_cancelled(), options.engine == 0,
                                   summary.failures > qMax<qint64>(failures_before, 0)};
    const source_balance balance = reconcile(source, paths.database, before, after, run);
    if (balance.unexplained)
        add_failure(source.given.first().path +
                    QLatin1StringView(": rows written differ from rows expected, and no failure "
                                      "was logged; see run.json"));
    for (const QString &failure : source.failures)
        add_failure(failure);
    record.sources.append({source, of_source.source_count, balance});
    before = after;
}

/// Read the mail itself during the extraction, unless there is none or only rows are wanted. `--clear` also removes
/// earlier mail along with its rows.
void extraction::start_reading(const QList<ready_source> &sources)
{
    const reading_job job = job_of(sources, paths.directory, options.source_count, options.threads);
    const bool has_mail = std::any_of(job.sources.cbegin(), job.sources.cend(),
                                      [](const reading_source &source) { return !source.places.isEmpty(); });
    const bool clears_rows = options.engine == 0 && options.tables.contains(QLatin1StringView("messages"));
    const bool would_double = options.clear && !clears_rows && QFileInfo::exists(paths.directory + mail_database_name);
    if (options.rows_only || !has_mail || would_double || is_cancelled())
        return;
    reading.start(job, options.clear);
}

/// Let the mails be compared with the rows, and wait for the result.
void extraction::finish_reading()
{
    if (!reading.was_started())
        return;
    const auto go_on = [this](const QString &phase, qint64 done, qint64 in_all) {
        progress.show_bytes(phase, done, in_all);
        return !is_cancelled();
    };
    const reading_report report = reading.finish(go_on);
    for (const QString &failure : report.reading.failures + report.comparison.failures) {
        const QString file = failure.first(failure.indexOf(u": ") + 1);
        const bool is_known = std::any_of(summary.failure_sentences.cbegin(), summary.failure_sentences.cend(),
                                          [&file](const QString &known) { return known.startsWith(file); });
        if (file.isEmpty() || !is_known) // a file that cannot be opened fails both rows and mail, and is reported once
            add_failure(failure);
    }
    summary.mail = report;
    record.mail = as_json(report);
    record.mail_database = {
        mail_database_name, QFileInfo(paths.directory + mail_database_name).size(),
        options.hash ? sha256_of_file(paths.directory + mail_database_name, [this](qint64) { return !is_cancelled(); })
                     : QString()};
    record.parts = QDir(paths.directory + mail_parts_name).entryList(QDir::Files, QDir::Name);
}

/// Why mails have no rows, as far as the run knows.
QString extraction::why_no_rows() const
{
    if (options.engine != 0)
        return QStringLiteral("This engine type extracts no rows.");
    if (!options.tables.contains(QLatin1StringView("messages")))
        return QStringLiteral("The table messages was not among the chosen tables.");
    return is_cancelled() ? QStringLiteral("The extraction was cancelled before this mail.") : QString();
}

/// Read the evidence again and everything that the run wrote, in parallel.
void extraction::look_again(const QSet<QString> &attachments_before)
{
    record.attachments = (files_in(paths.attachments) - attachments_before).values();
    record.attachments.sort();
    summary.attachment_files = record.attachments.size();
    record.database = {QFileInfo(paths.database).fileName(), QFileInfo(paths.database).size(), {}};
    if (options.log) {
        const bool is_inside = options.log_file.startsWith(paths.directory); // the result may be moved
        record.log = {is_inside ? options.log_file.sliced(paths.directory.size()) : options.log_file,
                      QFileInfo(options.log_file).size(),
                      {}};
    }
    if (!options.hash)
        return;
    record.compared_by = options.hash_once ? QStringLiteral("identity") : QStringLiteral("hash");
    const auto wanted = [this](qint64 bytes) { return go_on(bytes); };
    work_group results(queue);
    results.add([&] { record.database.sha256 = sha256_of_file(paths.database, wanted); }, true);
    if (record.log)
        results.add([&] { record.log->sha256 = sha256_of_begin(options.log_file, record.log->size, wanted); }, true);
    attachments->begin_rest(record.attachments);
    bytes_in_all = evidence->bytes_in_all() + record.database.size + (record.log ? record.log->size : 0) +
                   attachments->bytes_of_rest();
    progress.begin_phase(QStringLiteral("hashing the source and the result"));
    evidence->finish();
    attachments->finish();
    results.wait();
    if (!is_cancelled())
        compare_evidence();
}

/// Report evidence that changed during the run.
void extraction::compare_evidence()
{
    for (source_record &each : record.sources) {
        for (const QString &change : evidence->changes_of(each.source))
            add_failure(change);
    }
}

exit_status extraction::run(const QList<ready_source> &sources, const last_rows &before, const QDateTime &started)
{
    record.started = started;
    record.library = plugin.library_path();
    for (const ready_source &source : sources)
        record.sources.append({source, 0, {}});
    keep_earlier_record(paths.run_record);
    if (const maybe_refusal unwritable = write_run_record(paths, record, options, nullptr))
        return refuse(*unwritable, options.json);
    record.sources.clear();

    // The plug-in creates a folder for attachments in the current directory: here it is the one that it needs anyway.
    QDir::setCurrent(paths.directory);
    remove_attachments_of_cleared_rows(options);
    const QSet<QString> attachments_before = files_in(paths.attachments);
    start_reading(sources);
    begin_first_looks(sources);
    QElapsedTimer clock;
    clock.start();
    progress.begin_extraction(tables_of(sources, options));
    last_rows rows = before;
    for (const ready_source &source : sources)
        extract(source, rows);
    summary.seconds = static_cast<double>(clock.elapsed()) / 1000.0;
    reading.rows_complete(options.clear ? 0 : before.value(QStringLiteral("messages")), why_no_rows());
    look_again(attachments_before);
    finish_reading();
    write_record();
    progress.finish();
    summary.state = record.state;
    summary.status = status();
    print_summary(summary, options, record.sources);
    return summary.status;
}

exit_status extraction::status() const
{
    if (summary.cancelled)
        return signals_watched.status();
    if (!summary.record_problem.isEmpty())
        return exit_status::record_lost;
    return summary.failures > 0 ? exit_status::done_with_failures : exit_status::done;
}

/// A cancel while the attachments are hashed is recorded, too.
void extraction::write_record()
{
    record.ended = QDateTime::currentDateTimeUtc();
    record.failures = summary.failures;
    record.failure_lines = summary.failure_lines;
    maybe_refusal unwritable;
    do {
        summary.cancelled = is_cancelled();
        record.state = result_lost         ? QStringLiteral("failed")
                       : summary.cancelled ? QStringLiteral("cancelled")
                                           : QStringLiteral("complete");
        unwritable = write_run_record(paths, record, options, attachments.get());
    } while (summary.cancelled != is_cancelled());
    if (unwritable)
        summary.record_problem = unwritable->text;
    else
        summary.record_sha256 = sha256_of_file(paths.run_record, [](qint64) { return true; });
}
