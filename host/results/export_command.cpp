#include "host/results/export_command.h"

#include "host/command_line.h"
#include "host/progress.h"
#include "host/results/export.h"
#include "host/results/export_file.h"
#include "host/results/export_mails.h"
#include "host/results/time_text.h"
#include "host/sources/prepare.h"
#include "host/terminal.h"

#include <QDateTime>
#include <QDir>

namespace {

struct export_options : source_options
{
    QString result_dir;
    QString format;
    QString out;
};

maybe_refusal check(const export_options &options)
{
    const bool is_eml = options.format == u"eml";
    if (is_eml != !options.sources.isEmpty())
        return refusal{exit_status::wrong_usage,
                       is_eml
                           ? QStringLiteral("--format eml needs --source: a result does not contain the mails' bytes")
                           : QStringLiteral("--source is for --format eml only")};
    for (const QString &source : options.sources) {
        if (maybe_refusal missing = check_given(source))
            return missing;
        if (lies_inside(options.out, source))
            return refusal{exit_status::bad_result,
                           options.out + QLatin1StringView(": is inside the source, which must "
                                                           "not be written to; choose another --out")};
    }
    return {};
}

/// Prepare the sources as a run does, and cut the mails from them.
maybe_refusal export_mails(const export_options &options, export_job &job)
{
    if (!job.reader.has_mail())
        return job.reader.mail_problem();
    staging_area staging(job.directory.path(QStringLiteral("staging")), options.limits);
    progress_display progress(options.quiet);
    const auto show_bytes = [&](const QString &phase, qint64 done, qint64 in_all) {
        progress.show_bytes(phase, done, in_all);
        return job.go_on();
    };
    const prepare_options preparing = {.scheme = options.scheme,
                                       .accept_missing_parts = options.accept_missing_parts,
                                       .hash = false,
                                       .keep_mail = true};
    QList<ready_source> sources;
    maybe_refusal refused = prepare_sources(options.sources, preparing, staging, show_bytes, sources);
    progress.finish();
    return refused ? refused : export_eml(job, sources);
}

maybe_refusal write_about(const export_options &options, const export_job &job)
{
    export_file file(job.directory.path(QStringLiteral("about_this_export.txt")));
    QStringList lines = {
        QStringLiteral("Exported from %1").arg(job.reader.database()),
        QStringLiteral("as %1 by gmail_host " GMAIL_VERSION " at %2.")
            .arg(options.format, utc_text_of(QDateTime::currentSecsSinceEpoch())),
        job.reader.has_mail() ? QString()
                              : QString(QLatin1StringView("Without the mail: ") + job.reader.mail_problem()->text),
        QStringLiteral(
            "Times are in UTC, as 2024-01-08T08:30:00Z. In the tables of Gmail.sqlite a time that could not be "
            "read is 0, and stays 0."),
    };
    lines.removeAll(QString());
    file.write((lines + job.about + job.failures).join(u'\n').toUtf8());
    file.write('\n');
    return file.close();
}

maybe_refusal export_as(const export_options &options, export_job &job)
{
    if (options.format == u"csv")
        return export_csv(job);
    if (options.format == u"jsonl")
        return export_jsonl(job);
    if (options.format == u"tln")
        return export_tln(job);
    return export_mails(options, job);
}

maybe_refusal export_result(const export_options &options, signal_watch &signals_watched, QStringList &failures)
{
    if (maybe_refusal refused = check(options))
        return refused;
    result_reader reader;
    if (maybe_refusal refused = reader.open(options.result_dir))
        return refused;
    if (const QFileInfo there(options.out); there.exists() || there.isSymLink())
        return refusal{exit_status::bad_result,
                       options.out + QLatin1StringView(": already exists; choose another --out")};
    new_directory directory;
    if (maybe_refusal refused = directory.make(options.out))
        return refused;
    signals_watched.before_exit([path = directory.path()] { QDir(path).removeRecursively(); });
    export_job job = {reader, directory, [&signals_watched] { return signals_watched.received() == 0; }, {}, {}};
    if (maybe_refusal refused = export_as(options, job))
        return refused;
    if (maybe_refusal refused = reader.changed())
        return refused;
    if (maybe_refusal refused = write_about(options, job))
        return refused;
    if (!job.go_on())
        return cancelled_export();
    failures = job.failures;
    return directory.finish();
}

exit_status run_export(const export_options &options)
{
    signal_watch signals_watched; // before there is a second thread
    QStringList failures;
    const maybe_refusal refused = export_result(options, signals_watched, failures);
    signals_watched.forget_handler();
    if (signals_watched.received() != 0 && refused) {
        complain(QStringLiteral("cancelled; nothing was exported"));
        return signals_watched.status();
    }
    if (refused)
        return refuse(*refused);
    for (const QString &failure : std::as_const(failures))
        complain(failure);
    print(options.out);
    return failures.isEmpty() ? exit_status::done : exit_status::done_with_failures;
}

} // namespace

void add_export_command(command_line &line)
{
    const auto options = std::make_shared<export_options>();
    const sub_command command = line.add("export", "Export a result: tables, mails or a timeline as files",
                                         [options] { return run_export(*options); });
    command.text("RESULT_DIR", options->result_dir, "as for extract, or the directory with Gmail.sqlite").required();
    command
        .text("--format", options->format,
              "csv: a file per table, for spreadsheets; jsonl: a JSON object per row; eml: a file per mail; tln: a "
              "timeline of all times")
        .required()
        .one_of({QStringLiteral("csv"), QStringLiteral("jsonl"), QStringLiteral("eml"), QStringLiteral("tln")});
    command.text("--out", options->out, "directory to create; it must not exist yet").required();
    command.texts("--source", options->sources, "with eml: the source that was extracted (repeatable)").repeatable();
    add_unpacking_options(command, *options);
}
