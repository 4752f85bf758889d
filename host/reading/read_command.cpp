#include "host/reading/read_command.h"

#include "host/command_line.h"
#include "host/evidence.h"
#include "host/progress.h"
#include "host/reading/mail_places.h"
#include "host/reading/reading_job.h"
#include "host/reading/reading_process.h"
#include "host/reading/reading_report.h"
#include "host/reading/worker.h"
#include "host/run_places.h"
#include "host/sources/prepare.h"
#include "host/terminal.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonObject>
#include <QScopeGuard>

namespace {

constexpr QLatin1StringView reading_mail_phase("reading mail");
constexpr QLatin1StringView comparing_phase("comparing rows");

struct read_options : source_options
{
    QString result_dir;
    int source_count = 1;
    bool clear = false;
    bool append = false;
};

void make_paths_absolute(read_options &options)
{
    for (QString &source : options.sources)
        source = QDir::cleanPath(QFileInfo(source).absoluteFilePath());
    options.result_dir = QDir::cleanPath(QFileInfo(options.result_dir).absoluteFilePath());
}

/// The same places as an extraction's options; the result may have rows already.
extract_options places_of(const read_options &options)
{
    extract_options places;
    static_cast<source_options &>(places) = options;
    places.result_dir = options.result_dir;
    places.append = true;
    places.log = false;
    return places;
}

void print_report(const reading_report &report, const QString &database, double seconds, bool json)
{
    const bool cancelled = report.reading.cancelled || report.comparison.cancelled;
    if (json) {
        QJsonObject object = as_json(report);
        object[QStringLiteral("state")] = cancelled ? QStringLiteral("cancelled") : QStringLiteral("complete");
        object[QStringLiteral("mail_database")] = database;
        object[QStringLiteral("seconds")] = seconds;
        print_json(object);
        return;
    }
    print(QStringLiteral("Mail read in %1 s%2").arg(seconds, 0, 'f', 2).arg(cancelled ? u", cancelled" : u""));
    const auto print_count = [](QLatin1StringView what, qint64 count) {
        print(QStringLiteral("  %1 %2").arg(QString(what), -40).arg(count, 10));
    };
    print_count(QLatin1StringView("mails with problems"), report.reading.mails_with_problems);
    print_count(QLatin1StringView("parts"), report.reading.parts);
    print_count(QLatin1StringView("part files written"), report.reading.files_written);
    for (const QString &line : summary_lines(report))
        print(QLatin1StringView("  ") + line);
    for (const QString &remark : report.reading.remarks)
        print(QLatin1StringView("  ") + remark);
    for (const QString &failure : report.reading.failures + report.comparison.failures)
        print(QLatin1StringView("  failure: ") + failure);
    print(QLatin1StringView("  result  ") + database);
}

/// Check everything that can be checked before the sources are read, then create the result directory.
maybe_refusal prepare_places(const read_options &options, const result_paths &paths, run_places &places)
{
    last_rows before;
    if (maybe_refusal refused = places.check(before))
        return refused;
    if (maybe_refusal refused = check_earlier_mail(paths.directory, options))
        return refused;
    return places.make();
}

reading_report read_and_compare(const reading_job &job, mail_database &database, const on_progress &show_bytes)
{
    reading_report report;
    report.reading = read_mails(
        job, database, [&](qint64 done, qint64 in_all) { return show_bytes(reading_mail_phase, done, in_all); });
    if (!report.reading.cancelled) {
        report.comparison = compare_rows({job.directory, job.sources, 0, {}, job.has_rows}, database,
                                         [&](qint64) { return show_bytes(comparing_phase, 0, 0); });
        report.is_compared = true;
    }
    database.close(!report.reading.cancelled && !report.comparison.cancelled);
    return report;
}

prepare_options preparation_of(const read_options &options, const still_wanted &is_wanted)
{
    return {.scheme = options.scheme,
            .accept_missing_parts = options.accept_missing_parts,
            .hash = false,
            .keep_mail = true,
            .go_on = is_wanted};
}

exit_status status_of(const reading_report &report, const signal_watch &signals_watched)
{
    if (report.reading.cancelled || report.comparison.cancelled)
        return signals_watched.status();
    const bool failed = !report.reading.failures.isEmpty() || !report.comparison.failures.isEmpty();
    return failed ? exit_status::done_with_failures : exit_status::done;
}

exit_status read_sources(read_options options, signal_watch &signals_watched)
{
    make_paths_absolute(options);
    if (const maybe_refusal missing = check_all_given(options.sources))
        return refuse(*missing, options.json);
    const result_paths paths(options.result_dir);
    const extract_options as_extraction = places_of(options);
    run_places places(as_extraction);
    if (const maybe_refusal refused = prepare_places(options, paths, places))
        return refuse(*refused, options.json);

    staging_area staging(paths.staging, options.limits);
    staging.remove_leftovers();
    progress_display progress(options.quiet);
    const auto is_wanted = [&] { return signals_watched.received() == 0; };
    const auto show_bytes = [&](const QString &phase, qint64 done, qint64 in_all) {
        progress.show_bytes(phase, done, in_all);
        return is_wanted();
    };
    const auto handlers_end = qScopeGuard([&] { signals_watched.forget_handler(); });
    signals_watched.before_exit([&] {
        complain(QStringLiteral("stopped before it could finish cleanly: the last mails are lost"));
        staging.remove();
    });
    QList<ready_source> sources;
    if (const maybe_refusal refused =
            prepare_sources(options.sources, preparation_of(options, is_wanted), staging, show_bytes, sources)) {
        progress.finish();
        if (is_wanted() || !refused->text.isEmpty())
            return refuse(*refused, options.json);
        complain(QStringLiteral("cancelled before reading began; nothing was written"));
        return signals_watched.status();
    }
    if (options.clear)
        remove_earlier_mail(paths.directory);
    mail_database database;
    const QString database_path = paths.directory + mail_database_name;
    if (const maybe_refusal unusable = database.open(database_path))
        return refuse(*unusable, options.json);
    places.keep();
    QElapsedTimer clock;
    clock.start();
    reading_job job = job_of(sources, paths.directory, options.source_count, options.threads);
    job.has_rows = QFileInfo::exists(paths.database);
    const reading_report report = read_and_compare(job, database, show_bytes);
    progress.finish();
    print_report(report, database_path, static_cast<double>(clock.elapsed()) / 1000, options.json);
    return status_of(report, signals_watched);
}

} // namespace

void add_read_command(command_line &line)
{
    const auto options = std::make_shared<read_options>();
    const sub_command command = line.add("read", "Read the mail of sources itself into Mail.sqlite", [&line, options] {
        application running(line);
        options->result_dir = take_result_dir(*options);
        return read_sources(*options, running.signals_watched);
    });
    add_places(command, *options);
    add_source_options(command, *options);
    command.number("--source-count", options->source_count, "number of the first source (1)").at_least(1);
    const command_option clear =
        command.flag("--clear", options->clear, "replace an earlier Mail.sqlite and its Parts");
    command.flag("--append", options->append, "add to an earlier Mail.sqlite").excludes(clear);

    add_reading_process_command(line);
    const auto spool = std::make_shared<QString>();
    const sub_command worker =
        line.add("read-worker", "", [spool] { return static_cast<exit_status>(run_worker(*spool)); });
    worker.hide(); // only `read` starts it
    worker.text("SPOOL_DIR", *spool, "").required();
}
