#include "host/reading/read_command.h"

#include "host/command_line.h"
#include "host/evidence.h"
#include "host/progress.h"
#include "host/reading/read_mails.h"
#include "host/reading/worker.h"
#include "host/run_places.h"
#include "host/sources/prepare.h"
#include "host/terminal.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>
#include <QScopeGuard>

namespace {

constexpr QLatin1StringView database_name("Mail.sqlite");
constexpr QLatin1StringView parts_name("Parts/");
constexpr QLatin1StringView reading_mail_phase("reading mail");

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

/// What is shared with an extraction: its result directory, which may have rows already.
extract_options places_of(const read_options &options)
{
    extract_options places;
    static_cast<source_options &>(places) = options;
    places.result_dir = options.result_dir;
    places.append = true;
    places.log = false;
    return places;
}

maybe_refusal check_earlier(const read_options &options, const QString &database)
{
    if (options.append || options.clear || !QFileInfo::exists(database))
        return {};
    return refusal{exit_status::bad_result,
                   database + QLatin1StringView(": exists already; --clear replaces it, --append adds to it")};
}

/// Only what reading writes is removed.
void remove_earlier(const QString &directory)
{
    static const QRegularExpression part_file(QStringLiteral("^[0-9a-f]{64}(\\.[a-z0-9]{1,8})?$"));
    QFile::remove(directory + database_name);
    QFile::remove(directory + database_name + QLatin1StringView("-journal"));
    QDir parts(directory + parts_name);
    for (const QString &name : parts.entryList(QDir::Files | QDir::Hidden | QDir::System)) {
        if (part_file.match(name).hasMatch())
            parts.remove(name);
    }
}

/// Mail of the sources, numbered as an extraction with the same options numbers them.
reading_job job_of(const read_options &options, const QString &directory, const QList<ready_source> &sources)
{
    reading_job job = {.directory = directory, .sources = {}, .threads = options.threads};
    int number = options.source_count;
    for (const ready_source &source : sources) {
        QStringList places;
        for (const source_file &file : source.files) {
            if (file.place.startsWith(QLatin1StringView("Mail/")))
                places.append(file.place);
        }
        places.sort(); // directories are listed in any order
        job.sources.append(
            {source.found.scheme, source.found.root, QLatin1StringView("Source") + QString::number(number++), places});
    }
    return job;
}

void print_totals(const reading_totals &totals, const QString &database, double seconds, bool json)
{
    if (json) {
        print_json(QJsonObject{
            {QStringLiteral("state"), totals.cancelled ? QStringLiteral("cancelled") : QStringLiteral("complete")},
            {QStringLiteral("mails"), totals.mails},
            {QStringLiteral("mails_with_problems"), totals.mails_with_problems},
            {QStringLiteral("mails_given_up"), totals.mails_given_up},
            {QStringLiteral("parts"), totals.parts},
            {QStringLiteral("part_files"), totals.files_written},
            {QStringLiteral("remarks"), QJsonArray::fromStringList(totals.remarks)},
            {QStringLiteral("failures"), QJsonArray::fromStringList(totals.failures)},
            {QStringLiteral("mail_database"), database},
            {QStringLiteral("seconds"), seconds}});
        return;
    }
    print(QStringLiteral("Mail read in %1 s%2").arg(seconds, 0, 'f', 2).arg(totals.cancelled ? u", cancelled" : u""));
    const auto print_count = [](QLatin1StringView what, qint64 count) {
        print(QStringLiteral("  %1 %2").arg(QString(what), -24).arg(count));
    };
    print_count(QLatin1StringView("mails"), totals.mails);
    print_count(QLatin1StringView("  with problems"), totals.mails_with_problems);
    print_count(QLatin1StringView("  given up"), totals.mails_given_up);
    print_count(QLatin1StringView("parts"), totals.parts);
    print_count(QLatin1StringView("part files written"), totals.files_written);
    for (const QString &remark : totals.remarks)
        print(QLatin1StringView("  ") + remark);
    for (const QString &failure : totals.failures)
        print(QLatin1StringView("  failure: ") + failure);
    print(QLatin1StringView("  result  ") + database);
}

exit_status read_sources(read_options options, signal_watch &signals_watched)
{
    make_paths_absolute(options);
    for (const QString &source : std::as_const(options.sources)) {
        if (const maybe_refusal missing = check_given(source))
            return refuse(*missing, options.json);
    }
    const result_paths paths(options.result_dir);
    const QString database_path = paths.directory + database_name;
    const extract_options as_extraction = places_of(options);
    run_places places(as_extraction);
    last_rows before;
    maybe_refusal refused = places.check(before);
    if (!refused)
        refused = check_earlier(options, database_path);
    if (!refused)
        refused = places.make();
    if (refused)
        return refuse(*refused, options.json);

    staging_area staging(paths.staging, options.limits);
    staging.remove_leftovers();
    progress_display progress(options.quiet);
    const auto show_bytes = [&](const QString &phase, qint64 done, qint64 in_all) {
        progress.show_bytes(phase, done, in_all);
        return signals_watched.received() == 0;
    };
    const auto handlers_end = qScopeGuard([&] { signals_watched.forget_handler(); });
    signals_watched.before_exit([&] {
        complain(QStringLiteral("stopped before it could finish cleanly: the last mails are lost"));
        staging.remove();
    });
    const prepare_options preparing = {.scheme = options.scheme,
                                       .accept_missing_parts = options.accept_missing_parts,
                                       .hash = false,
                                       .keep_mail = true,
                                       .go_on = [&] { return signals_watched.received() == 0; }};
    QList<ready_source> sources;
    refused = prepare_sources(options.sources, preparing, staging, show_bytes, sources);
    if (refused) {
        progress.finish();
        if (signals_watched.received() == 0 || !refused->text.isEmpty())
            return refuse(*refused, options.json);
        complain(QStringLiteral("cancelled before reading began; nothing was written"));
        return signals_watched.status();
    }
    if (options.clear)
        remove_earlier(paths.directory);
    mail_database database;
    if (const maybe_refusal unusable = database.open(database_path))
        return refuse(*unusable, options.json);
    places.keep();
    QElapsedTimer clock;
    clock.start();
    const reading_totals totals =
        read_mails(job_of(options, paths.directory, sources), database,
                   [&](qint64 done, qint64 in_all) { return show_bytes(reading_mail_phase, done, in_all); });
    database.close();
    progress.finish();
    print_totals(totals, database_path, static_cast<double>(clock.elapsed()) / 1000, options.json);
    return totals.cancelled             ? signals_watched.status()
           : !totals.failures.isEmpty() ? exit_status::done_with_failures
                                        : exit_status::done;
}

} // namespace

void add_read_command(command_line &line)
{
    const auto options = std::make_shared<read_options>();
    CLI::App &command = line.add("read", "Read the mail of sources itself into Mail.sqlite", [&line, options] {
        application running(line);
        options->result_dir = take_result_dir(*options);
        return read_sources(*options, running.signals_watched);
    });
    add_places(command, *options);
    add_source_options(command, *options);
    command.add_option("--source-count", options->source_count, "number of the first source (1)")->check(at_least(1));
    CLI::Option *clear = command.add_flag("--clear", options->clear, "replace an earlier Mail.sqlite and its Parts");
    command.add_flag("--append", options->append, "add to an earlier Mail.sqlite")->excludes(clear);

    const auto spool = std::make_shared<QString>();
    CLI::App &worker = line.add("read-worker", "", [spool] { return static_cast<exit_status>(run_worker(*spool)); });
    worker.group(""); // started by `read` only, and not listed
    add_text(worker, "SPOOL_DIR", *spool, "")->required();
}
