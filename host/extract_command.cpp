#include "host/extract_command.h"

#include "host/command_line.h"
#include "host/log_file.h"
#include "host/plugin_run.h"
#include "host/progress.h"
#include "host/records/expectation.h"
#include "host/run_places.h"
#include "host/sources/prepare.h"
#include "host/summary.h"
#include "host/terminal.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QScopeGuard>
#include <QSet>

#include <csignal>

namespace {

QString absolute(const QString &path)
{
    return path.isEmpty() ? path : QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

/// Paths no longer depend on the current directory, which the run changes.
void make_paths_absolute(extract_options &options)
{
    for (QString &source : options.sources)
        source = absolute(source);
    for (QString *path : {&options.result_dir, &options.log_file, &options.library})
        *path = absolute(*path);
    if (options.log_file.isEmpty())
        options.log_file = result_paths(options.result_dir).default_log;
}

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

exit_status status_of_signal(int signal)
{
    return signal == SIGINT ? exit_status::interrupted : exit_status::terminated;
}

/// One run over all sources, once every place is made and every source is ready.
class extraction
{
public:
    extraction(const extract_options &run_options, plugin_run &loaded, progress_display &shown, signal_watch &watch)
        : options(run_options)
        , paths(run_options.result_dir)
        , plugin(loaded)
        , progress(shown)
        , signals_watched(watch)
    {
    }

    exit_status run(const QList<ready_source> &sources, const last_rows &before);

private:
    void extract(const ready_source &source, last_rows &before);
    void count_failures(qint64 offset);
    void add_failure(const QString &line);
    void check_evidence();
    void record_results(const QSet<QString> &attachments_before);
    void write_record();
    [[nodiscard]] bool is_cancelled() const { return signals_watched.received() != 0; }

    const extract_options &options;
    result_paths paths;
    plugin_run &plugin;
    progress_display &progress;
    signal_watch &signals_watched;
    run_record record;
    run_summary summary;
    bool result_lost = false; ///< there is no result database that can be read
};

/// The failures of this run: what its log tells behind `offset`.
void extraction::count_failures(qint64 offset)
{
    log_file log(options.log_file);
    if (!log.open(offset)) {
        add_failure(options.log_file + QLatin1StringView(": the log cannot be read (") + log.error() + u')');
        return;
    }
    bool is_whole = false;
    for (log_file::piece piece; log.next(piece);) {
        is_whole = piece.readable && piece.line.endsWith("[pub_extract_artifacts] - END");
        if (!piece.readable || tells_failure(piece.line))
            add_failure(QString::fromUtf8(piece.line));
    }
    if (!is_whole && !is_cancelled())
        add_failure(options.log_file + QLatin1StringView(": breaks off; failures may be missing in it")); // a full disk
}

void extraction::add_failure(const QString &line)
{
    summary.failures = qMax<qint64>(summary.failures, 0) + 1;
    if (summary.failure_lines.size() < 1000)
        summary.failure_lines.append(line);
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
        count_failures(log_begin);
    }
    last_rows after;
    maybe_refusal unreadable = find_last_rows(paths.database, after);
    if (!QFileInfo::exists(paths.database))
        unreadable = refusal{exit_status::bad_result, paths.database + QLatin1StringView(": was not made")};
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
}

exit_status extraction::run(const QList<ready_source> &sources, const last_rows &before)
{
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
    print_summary(summary, options, record.sources);
    return summary.cancelled      ? status_of_signal(signals_watched.received())
           : summary.failures > 0 ? exit_status::done_with_failures
                                  : exit_status::done;
}

/// A cancel that comes while the attachments are hashed is told by the record, too.
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
        add_failure(unwritable->text);
    else
        summary.record_sha256 = sha256_of_file(paths.run_record, [](qint64) { return true; });
}

exit_status extract_sources(extract_options options, signal_watch &signals_watched)
{
    make_paths_absolute(options);
    for (const QString &source : std::as_const(options.sources)) {
        if (const maybe_refusal missing = check_given(source))
            return refuse(*missing, options.json);
    }
    progress_display progress(options.quiet);
    plugin_run plugin([&progress](qint64 records, int tabs) { progress.show_records(records, tabs); });
    if (const maybe_refusal refused = plugin.load(options.library))
        return refuse(*refused, options.json);
    run_places places(options);
    last_rows before;
    if (const maybe_refusal refused = places.check(before))
        return refuse(*refused, options.json);
    if (const maybe_refusal refused = places.make())
        return refuse(*refused, options.json);

    staging_area staging(result_paths(options.result_dir).staging, options.limits);
    staging.remove_leftovers();
    const prepare_options preparing = {.scheme = options.scheme,
                                       .accept_missing_parts = options.accept_missing_parts,
                                       .hash = options.hash,
                                       .keep_mail = true};
    const auto show_bytes = [&](const QString &phase, qint64 done, qint64 in_all) {
        progress.show_bytes(phase, done, in_all);
        return signals_watched.received() == 0;
    };
    signals_watched.on_signal([&plugin] { plugin.cancel(); });
    const auto handlers_end = qScopeGuard([&] { signals_watched.forget_handler(); });
    signals_watched.before_exit([&] {
        complain(QStringLiteral("ended at once; rows since the last commit, and the summary, are missing"));
        staging.remove();
        QDir(result_paths(options.result_dir).directory + QLatin1StringView("tmp")).removeRecursively();
    });
    QList<ready_source> sources;
    maybe_refusal refused = prepare_sources(options.sources, preparing, staging, show_bytes, sources);
    if (!refused && options.hash)
        refused = expect_rows(sources, staging, show_bytes);
    if (refused) {
        progress.finish();
        if (const int signal = signals_watched.received(); signal != 0 && refused->text.isEmpty()) {
            complain(QStringLiteral("cancelled before the extraction began; nothing was written"));
            return status_of_signal(signal);
        }
        return refuse(*refused, options.json);
    }
    if (const maybe_refusal no_log = places.make_log())
        return refuse(*no_log, options.json);
    places.keep();
    progress.expect(sources, options.tables);
    return extraction(options, plugin, progress, signals_watched).run(sources, before);
}

void add_run_options(CLI::App &command, extract_options &options)
{
    options.tables = artifact_tables();
    add_texts(command, "--tables", options.tables, "tables to fill, separated by commas (all five when left out)")
        ->delimiter(',')
        ->allow_extra_args(false) // would take what comes after for tables
        ->check(one_of(artifact_tables()));
    command.add_option("--engine", options.engine, "engine type (0; others extract no rows)");
    command.add_option("--source-count", options.source_count, "number of the source (1)")->check(at_least(1));
    add_text(command, "--source-type", options.source_type, "type of the source");
    add_text(command, "--scheme-display", options.scheme_display, "text for the column os_scheme_display");
    add_text(command, "--account", options.account, "account of a Takeout source, for the column account_id");
    add_text(command, "--os-version", options.os_version, "version of the source's operating system");
    add_texts(command, "--user", options.users, "user account of the source, NAME or NAME:DOMAIN (repeatable)")
        ->allow_extra_args(false);
}

void add_result_options(CLI::App &command, extract_options &options)
{
    add_text(command, "--log", options.log_file, "debug log (gmail.log beside the result database)");
    command.add_flag_callback(
        "--no-log", [&options] { options.log = false; }, "write no debug log; failures cannot be counted then");
    command.add_flag("--encrypt-log", options.encrypt_log, "encipher the debug log");
    command.add_flag("--log-on-terminal", options.log_on_terminal, "also write the log to standard error");
    CLI::Option *clear = command.add_flag("--clear", options.clear,
                                          "empty the chosen tables first (with messages, the Attachments folder, too)");
    command.add_flag("--append", options.append, "add to a result that already contains rows")->excludes(clear);
    add_text(command, "--library", options.library, "the plug-in's library");
    command.add_flag_callback(
        "--no-hash", [&options] { options.hash = false; }, "neither hash nor count the source before the extraction");
    add_text(command, "--examiner", options.examiner, "text for run.json");
    add_text(command, "--case", options.case_name, "text for run.json");
}

} // namespace

void add_extract_command(command_line &line)
{
    const auto options = std::make_shared<extract_options>();
    CLI::App &command = line.add("extract", "Extract sources into a result database", [&line, options] {
        application running(line);
        options->result_dir = take_result_dir(*options);
        options->tables.removeDuplicates();
        options->arguments = line.arguments();
        options->working_directory = QDir::currentPath();
        return extract_sources(*options, running.signals_watched);
    });
    add_places(command, *options);
    add_source_options(command, *options);
    add_run_options(command, *options);
    add_result_options(command, *options);
}
