#include "host/extract_command.h"

#include "host/evidence.h"
#include "host/log_file.h"
#include "host/plugin_run.h"
#include "host/progress.h"
#include "host/result_database.h"
#include "host/signal_watch.h"
#include "host/terminal.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>

namespace {

constexpr qsizetype most_failure_lines = 10;

/// What a run left, as far as this run did.
struct run_summary
{
    QMap<QString, qint64> rows; ///< written, per table
    qint64 attachment_files = 0;
    qint64 failures = -1; ///< -1 when there is no log to count them in
    QStringList failure_lines;
    double seconds = 0;
    bool cancelled = false;
};

QString absolute(const QString &path)
{
    return path.isEmpty() ? path : QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

bool can_be_appended_to(const QString &path)
{
    return QFile(path).open(QIODevice::Append);
}

/// Everything that would change evidence or spoil a result is refused before anything is made.
maybe_refusal check_places(const extract_options &options, const evidence &source)
{
    const QString artifact_dir = result_paths(options.result_dir).directory;
    if (lies_inside(options.result_dir, options.source))
        return refusal{exit_status::bad_result,
                       options.result_dir + QLatin1StringView(": lies inside the source, which is never "
                                                              "written; choose another RESULT_DIR")};
    if (lies_inside(source.root, artifact_dir))
        return refusal{exit_status::bad_result,
                       options.result_dir + QLatin1StringView(": its result directory holds the source; "
                                                              "choose another RESULT_DIR")};
    if (options.log && lies_inside(options.log_file, options.source))
        return refusal{exit_status::bad_result,
                       options.log_file + QLatin1StringView(": lies inside the source, which is never "
                                                            "written; choose another --log file")};
    return {};
}

maybe_refusal make_places(const extract_options &options)
{
    const QString directory = result_paths(options.result_dir).directory;
    if (!QDir().mkpath(directory) || !QFileInfo(directory).isWritable())
        return refusal{exit_status::bad_result,
                       options.result_dir + QLatin1StringView(": cannot be written; choose another RESULT_DIR")};
    if (options.log && !can_be_appended_to(options.log_file))
        return refusal{exit_status::bad_result,
                       options.log_file + QLatin1StringView(": cannot be opened for the log; name another --log file "
                                                            "or use --no-log")};
    return {};
}

/// A second run would double the rows of the first.
maybe_refusal check_result(const extract_options &options, last_rows &before)
{
    const QString database = result_paths(options.result_dir).database;
    if (maybe_refusal unreadable = find_last_rows(database, before))
        return unreadable;
    if (options.append || options.clear)
        return {};
    for (auto table = before.cbegin(); table != before.cend(); ++table) {
        if (table.value() > 0)
            return refusal{exit_status::bad_result,
                           database + QLatin1StringView(": holds rows already; --clear empties the chosen tables "
                                                        "first, --append adds to them")};
    }
    return {};
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

/// The failures of this run: what its log tells behind `offset`.
void count_failures(const QString &log_path, qint64 offset, run_summary &summary)
{
    log_file log(log_path);
    summary.failures = 0;
    bool is_whole = false;
    if (!log.open(offset)) {
        summary.failures = 1;
        summary.failure_lines.append(log_path + QLatin1StringView(": cannot be read; failures cannot be counted"));
        return;
    }
    for (log_file::piece piece; log.next(piece);) {
        is_whole = piece.readable && piece.line.endsWith("[pub_extract_artifacts] - END");
        if (piece.readable && !tells_failure(piece.line))
            continue;
        ++summary.failures;
        if (summary.failure_lines.size() < most_failure_lines)
            summary.failure_lines.append(QString::fromUtf8(piece.line));
    }
    if (is_whole || summary.cancelled)
        return;
    ++summary.failures; // a full disk
    summary.failure_lines.append(log_path + QLatin1StringView(": breaks off; failures may be missing in it"));
}

void print_as_json(const run_summary &summary, const QString &database)
{
    QJsonObject tables;
    for (auto table = summary.rows.cbegin(); table != summary.rows.cend(); ++table)
        tables[table.key()] = table.value();
    const QJsonObject object = {
        {QStringLiteral("result_db"), database},
        {QStringLiteral("tables"), tables},
        {QStringLiteral("attachments"), summary.attachment_files},
        {QStringLiteral("failures"), summary.failures < 0 ? QJsonValue() : QJsonValue(summary.failures)},
        {QStringLiteral("failure_lines"), QJsonArray::fromStringList(summary.failure_lines)},
        {QStringLiteral("seconds"), summary.seconds},
        {QStringLiteral("cancelled"), summary.cancelled},
    };
    print(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Indented).trimmed()));
}

void print_as_text(const run_summary &summary, const extract_options &options, const evidence &source)
{
    if (!source.has_artifacts) {
        const QString sought = looked_for(source.scheme);
        print(sought.isEmpty() ? QStringLiteral("%1 sources yield no rows.").arg(source.scheme)
                               : QStringLiteral("Nothing found: looked for %1 in %2").arg(sought, source.root));
    }
    print(QStringLiteral("%1 source %2, %3 in %4 s")
              .arg(source.scheme, source.root,
                   summary.cancelled ? QStringLiteral("cancelled") : QStringLiteral("extracted"))
              .arg(summary.seconds, 0, 'f', 2));
    for (const QString &table : artifact_tables())
        print(QStringLiteral("  %1 %2 rows").arg(table, -16).arg(summary.rows.value(table), 10));
    print(QStringLiteral("  %1 %2").arg(QStringLiteral("attachment files"), -16).arg(summary.attachment_files, 10));
    if (summary.failures < 0)
        print(QStringLiteral("  failures         not counted: there is no log (--no-log)"));
    else
        print(QStringLiteral("  %1 %2").arg(QStringLiteral("failures"), -16).arg(summary.failures, 10));
    for (const QString &line : summary.failure_lines)
        print(QLatin1StringView("    ") + line);
    if (summary.failures > most_failure_lines)
        print(QStringLiteral("    and %1 more").arg(summary.failures - most_failure_lines));
    print(QLatin1StringView("  result           ") + result_paths(options.result_dir).database);
    if (options.log)
        print(QLatin1StringView("  log              ") + options.log_file);
}

exit_status status_of(const run_summary &summary, int signal_received)
{
    if (signal_received != 0)
        return signal_received == SIGINT ? exit_status::interrupted : exit_status::terminated;
    return summary.failures > 0 ? exit_status::done_with_failures : exit_status::done;
}

/// Paths no longer depend on the current directory, which the run changes.
void make_paths_absolute(extract_options &options)
{
    for (QString *path : {&options.source, &options.result_dir, &options.log_file, &options.library})
        *path = absolute(*path);
    if (options.log_file.isEmpty())
        options.log_file = result_paths(options.result_dir).default_log;
}

run_summary run_and_count(plugin_run &plugin, const extract_options &options, const evidence &source,
                          const last_rows &before, signal_watch &signals_watched)
{
    const result_paths paths(options.result_dir);
    const qint64 files_before = count_files(paths.attachments);
    const qint64 log_begin = options.log ? QFileInfo(options.log_file).size() : 0;
    QElapsedTimer clock;
    clock.start();
    signals_watched.on_signal([&plugin] { plugin.cancel(); });
    plugin.run(options, source);
    signals_watched.forget_handler();

    run_summary summary;
    summary.seconds = static_cast<double>(clock.elapsed()) / 1000.0;
    summary.cancelled = signals_watched.received() != 0;
    if (options.log)
        count_failures(options.log_file, log_begin, summary);
    last_rows after;
    maybe_refusal unreadable = find_last_rows(paths.database, after);
    if (!QFileInfo::exists(paths.database))
        unreadable = refusal{exit_status::bad_result, paths.database + QLatin1StringView(": was not made")};
    if (unreadable) {
        summary.failures = qMax<qint64>(summary.failures, 0) + 1;
        summary.failure_lines.append(unreadable->text);
    }
    for (const QString &table : artifact_tables()) {
        const bool cleared = options.clear && options.engine == 0 && options.tables.contains(table);
        summary.rows[table] = after.value(table) - (cleared ? 0 : before.value(table));
    }
    summary.attachment_files = count_files(paths.attachments) - files_before;
    return summary;
}

} // namespace

exit_status run_extract_command(extract_options options, signal_watch &signals_watched)
{
    make_paths_absolute(options);
    evidence source;
    if (const maybe_refusal refused = recognise(options.source, options.scheme, source))
        return refuse(*refused);
    if (const maybe_refusal refused = check_places(options, source))
        return refuse(*refused);

    progress_display progress(source.scheme == QLatin1StringView("gTakeoutOS") ? 1 : int(options.tables.size()),
                              options.quiet);
    plugin_run plugin([&progress](qint64 records, int tabs) { progress.show(records, tabs); });
    if (const maybe_refusal refused = plugin.load(options.library))
        return refuse(*refused);
    last_rows before;
    if (const maybe_refusal refused = check_result(options, before))
        return refuse(*refused);
    if (const maybe_refusal refused = make_places(options))
        return refuse(*refused);
    // The plug-in makes a folder for attachments in the current directory: let that be the one it makes anyway.
    QDir::setCurrent(result_paths(options.result_dir).directory);
    remove_attachments_of_cleared_rows(options);

    const run_summary summary = run_and_count(plugin, options, source, before, signals_watched);
    progress.finish();
    if (options.json)
        print_as_json(summary, result_paths(options.result_dir).database);
    else
        print_as_text(summary, options, source);
    return status_of(summary, signals_watched.received());
}
