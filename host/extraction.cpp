#include "host/extraction.h"

#include "host/log_file.h"
#include "host/plugin_run.h"
#include "host/progress.h"
#include "host/records/failure_text.h"
#include "host/sources/source_files.h"
#include "host/terminal.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>

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

/// The files in "Attachments" belong to rows of `messages`: they go with them.
void remove_attachments_of_cleared_rows(const extract_options &options)
{
    if (!options.clear || options.engine != 0 || !options.tables.contains(QLatin1StringView("messages")))
        return;
    QDir attachments(result_paths(options.result_dir).attachments);
    for (const QString &name : attachments.entryList(QDir::Files | QDir::Hidden | QDir::System))
        attachments.remove(name);
}

} // namespace

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

void extraction::extract(const ready_source &source, last_rows &before)
{
    const bool first = record.sources.isEmpty();
    extract_options of_source = options;
    of_source.source_count += static_cast<int>(record.sources.size());
    of_source.clear = options.clear && first;
    const qint64 failures_before = summary.failures;
    const qint64 log_begin = options.log ? QFileInfo(options.log_file).size() : 0;
    plugin.run(of_source, source.found);

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

/// Evidence has to be the same after the run.
void extraction::check_evidence()
{
    if (!options.hash || is_cancelled())
        return;
    QList<ready_source> sources;
    for (const source_record &each : std::as_const(record.sources))
        sources.append(each.source);
    hash_again(sources, [this](qint64) { return !is_cancelled(); });
    for (qsizetype i = 0; i < sources.size() && !is_cancelled(); ++i) {
        for (const source_file &file : std::as_const(sources.at(i).files)) {
            if (file.sha256_before != file.sha256_after)
                add_failure(sources.at(i).found.root + file.place + QLatin1StringView(": changed during the run"));
        }
        for (const given_source &given : std::as_const(sources.at(i).given)) {
            if (given.sha256_before != given.sha256_after)
                add_failure(given.path + QLatin1StringView(": changed during the run"));
        }
        record.sources[i].source = sources.at(i);
    }
}

void extraction::record_results(const QSet<QString> &attachments_before)
{
    record.attachments = (files_in(paths.attachments) - attachments_before).values();
    record.attachments.sort();
    summary.attachment_files = record.attachments.size();
    const auto go_on = [this](qint64) { return !is_cancelled(); };
    record.database = {QFileInfo(paths.database).fileName(), QFileInfo(paths.database).size(),
                       options.hash ? sha256_of_file(paths.database, go_on) : QString()};
    if (options.log) {
        const qint64 size = QFileInfo(options.log_file).size();
        const bool is_inside = options.log_file.startsWith(paths.directory); // the result may be moved
        record.log = {is_inside ? options.log_file.sliced(paths.directory.size()) : options.log_file, size,
                      options.hash ? sha256_of_begin(options.log_file, size, go_on) : QString()};
    }
}

exit_status extraction::run(const QList<ready_source> &sources, const last_rows &before, const QDateTime &started)
{
    record.started = started;
    record.library = plugin.library_path();
    for (const ready_source &source : sources)
        record.sources.append({source, 0, {}});
    keep_earlier_record(paths.run_record);
    if (const maybe_refusal unwritable = write_run_record(paths, record, options, [] { return true; }))
        return refuse(*unwritable, options.json);
    record.sources.clear();

    // The plug-in makes a folder for attachments in the current directory: let that be the one it makes anyway.
    QDir::setCurrent(paths.directory);
    remove_attachments_of_cleared_rows(options);
    const QSet<QString> attachments_before = files_in(paths.attachments);
    QElapsedTimer clock;
    clock.start();
    last_rows rows = before;
    for (const ready_source &source : sources)
        extract(source, rows);
    summary.seconds = static_cast<double>(clock.elapsed()) / 1000.0;
    check_evidence();
    record_results(attachments_before);
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

/// A cancel that comes while the attachments are hashed is in the record, too.
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
        unwritable = write_run_record(paths, record, options, [this] { return !is_cancelled(); });
    } while (summary.cancelled != is_cancelled());
    if (unwritable)
        summary.record_problem = unwritable->text;
    else
        summary.record_sha256 = sha256_of_file(paths.run_record, [](qint64) { return true; });
}
