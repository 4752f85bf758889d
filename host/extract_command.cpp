#include "host/extract_command.h"

#include "host/command_line.h"
#include "host/extraction.h"
#include "host/plugin_run.h"
#include "host/progress.h"
#include "host/reading/mail_places.h"
#include "host/reading/reading_process.h"
#include "host/run_places.h"
#include "host/sources/prepare.h"
#include "host/terminal.h"

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>

namespace {

QString absolute(const QString &path)
{
    return path.isEmpty() ? path : QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

/// Make paths independent of the current directory, which the run changes.
void make_paths_absolute(extract_options &options)
{
    for (QString &source : options.sources)
        source = absolute(source);
    for (QString *path : {&options.result_dir, &options.log_file, &options.library})
        *path = absolute(*path);
    if (options.log_file.isEmpty())
        options.log_file = result_paths(options.result_dir).default_log;
}

prepare_options preparation_of(const extract_options &options, const signal_watch &signals_watched)
{
    return {.scheme = options.scheme,
            .accept_missing_parts = options.accept_missing_parts,
            .hash = options.hash,
            .keep_mail = true,
            .go_on = [&signals_watched] { return signals_watched.received() == 0; }};
}

/// Check everything that can be checked before the sources are read, then create the result directory.
maybe_refusal prepare_places(const extract_options &options, run_places &places, last_rows &before)
{
    if (maybe_refusal refused = places.check(before))
        return refused;
    maybe_refusal earlier = check_earlier_mail(result_paths(options.result_dir).directory, options);
    return earlier && !options.rows_only ? earlier : places.make();
}

exit_status extract_sources(extract_options options, signal_watch &signals_watched)
{
    const QDateTime started = QDateTime::currentDateTimeUtc();
    make_paths_absolute(options);
    if (const maybe_refusal missing = check_all_given(options.sources))
        return refuse(*missing, options.json);
    progress_display progress(options.quiet);
    plugin_run plugin;
    if (const maybe_refusal refused = plugin.load(options.library))
        return refuse(*refused, options.json);
    run_places places(options);
    last_rows before;
    if (const maybe_refusal refused = prepare_places(options, places, before))
        return refuse(*refused, options.json);

    staging_area staging(result_paths(options.result_dir).staging, options.limits);
    staging.remove_leftovers();
    const auto show_bytes = [&](const QString &phase, qint64 done, qint64 in_all) {
        progress.show_bytes(phase, done, in_all);
        return signals_watched.received() == 0;
    };
    reading_process reading;
    signals_watched.on_signal([&plugin, &reading] {
        plugin.cancel();
        reading.cancel();
    });
    const auto handlers_end = qScopeGuard([&] { signals_watched.forget_handler(); });
    signals_watched.before_exit([&] {
        complain(
            QStringLiteral("stopped before it could finish cleanly: rows since the last commit are lost and there is "
                           "no summary"));
        places.abandon();
    });
    QList<ready_source> sources;
    maybe_refusal refused =
        prepare_sources(options.sources, preparation_of(options, signals_watched), staging, show_bytes, sources);
    if (refused) {
        progress.finish();
        if (signals_watched.received() != 0)
            refused = {signals_watched.status(),
                       QStringLiteral("cancelled before the extraction began; nothing was written")};
        return refuse(*refused, options.json);
    }
    if (const maybe_refusal no_log = places.make_log())
        return refuse(*no_log, options.json);
    places.keep();
    return extraction(options, plugin, reading, staging, progress, signals_watched).run(sources, before, started);
}

void add_run_options(const sub_command &command, extract_options &options)
{
    options.tables = artifact_tables();
    command.texts("--tables", options.tables, "tables to fill, separated by commas (all five if omitted)")
        .separated_by_commas()
        .one_of(artifact_tables());
    command.number("--engine", options.engine, "engine type (0; others extract no rows)");
    command.number("--source-count", options.source_count, "number of the source (1)").at_least(1);
    command.text("--source-type", options.source_type, "type of the source");
    command.text("--scheme-display", options.scheme_display, "text for the column os_scheme_display");
    command.text("--account", options.account, "account of a Takeout source, for the column account_id");
    command.text("--os-version", options.os_version, "version of the source's operating system");
    command.texts("--user", options.users, "user account of the source, NAME or NAME:DOMAIN (repeatable)").repeatable();
}

void add_result_options(const sub_command &command, extract_options &options)
{
    command.text("--log", options.log_file, "debug log (gmail.log beside the result database)");
    command.flag("--no-log", options.log, "write no debug log; failures then cannot be counted", false);
    command.flag("--encrypt-log", options.encrypt_log, "encrypt the debug log");
    command.flag("--log-on-terminal", options.log_on_terminal, "also write the log to standard error");
    const command_option clear = command.flag(
        "--clear", options.clear, "empty the chosen tables first (with messages, the Attachments folder, too)");
    command.flag("--append", options.append, "add to a result that already contains rows").excludes(clear);
    command.flag("--rows-only", options.rows_only, "do not read the mail itself into Mail.sqlite");
    command.text("--library", options.library, "the plug-in's library");
    command.flag("--no-hash", options.hash,
                 "hash and count nothing: no expected rows, no percentage, and nothing for verify to compare", false);
    command
        .text(
            "--hash", [&options](const QString &times) { options.hash_once = times == u"once"; },
            "how often the source is read for its hash: twice, before and after the extraction (default), or once; "
            "then its identity (device, inode, size, times) is compared instead")
        .one_of({QStringLiteral("once"), QStringLiteral("twice")});
    command.text("--examiner", options.examiner, "text for run.json");
    command.text("--case", options.case_name, "text for run.json");
}

} // namespace

void add_extract_command(command_line &line)
{
    const auto options = std::make_shared<extract_options>();
    const sub_command command = line.add("extract", "Extract sources into a result database", [&line, options] {
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
