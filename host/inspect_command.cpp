#include "host/inspect_command.h"

#include "host/command_line.h"
#include "host/progress.h"
#include "host/records/evidence_check.h"
#include "host/records/expectation.h"
#include "host/run_places.h"
#include "host/signal_watch.h"
#include "host/sources/prepare.h"
#include "host/terminal.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QScopeGuard>
#include <QTemporaryDir>

#include <algorithm>

namespace {

/// Faults that an extraction will count as failures.
QStringList faults_of(const ready_source &source)
{
    return source.expected.remarks + source.expected.faults + source.failures + source.faults;
}

QJsonObject json_of(const ready_source &source)
{
    QJsonArray given, files;
    for (const given_source &each : source.given)
        given.append(QJsonObject{{QStringLiteral("path"), each.path}, {QStringLiteral("type"), each.type}});
    for (const source_file &each : source.files)
        files.append(QJsonObject{
            {QStringLiteral("member"), each.member},
            {QStringLiteral("source_file"), QString(u'/' + each.place)},
            {QStringLiteral("size"), each.size},
            {QStringLiteral("separators"), each.separators < 0 ? QJsonValue() : QJsonValue(each.separators)}});
    QJsonObject rows;
    for (auto table = source.expected.tables.cbegin(); table != source.expected.tables.cend(); ++table)
        rows[table.key()] = table.value();
    QJsonObject skipped;
    for (auto each = source.skipped.cbegin(); each != source.skipped.cend(); ++each)
        skipped[each.key()] = each.value();
    return {{QStringLiteral("scheme"), source.found.scheme},
            {QStringLiteral("user"), source.user},
            {QStringLiteral("given"), given},
            {QStringLiteral("files"), files},
            {QStringLiteral("rows_expected"), rows},
            {QStringLiteral("skipped_members"), skipped},
            {QStringLiteral("remarks"), QJsonArray::fromStringList(source.remarks)},
            {QStringLiteral("faults"), QJsonArray::fromStringList(faults_of(source))}};
}

void print_as_text(const ready_source &source)
{
    for (const given_source &each : source.given)
        print(QStringLiteral("%1: %2").arg(each.path, each.type));
    print(QStringLiteral("  scheme %1%2")
              .arg(source.found.scheme, source.user.isEmpty() ? QString() : QString(u", " + source.user)));
    for (const source_file &each : source.files) {
        const QString counted =
            each.separators < 0
                ? QString()
                : QStringLiteral(", %1 separators, %2 rows expected (the last message of the file gives none)")
                      .arg(each.separators)
                      .arg(rows_of_mbox(each.separators));
        print(QStringLiteral("  %1, %2 bytes%3").arg(each.member).arg(each.size).arg(counted));
    }
    for (const QString &table : artifact_tables()) {
        if (source.expected.tables.contains(table))
            print(QStringLiteral("  %1 %2 rows expected").arg(table, -16).arg(source.expected.tables.value(table), 10));
        else
            print(QStringLiteral("  %1 %2").arg(table, -16).arg(QStringLiteral("unknown")));
    }
    for (const QString &fault : faults_of(source))
        print(QLatin1StringView("  fault: ") + fault);
    for (const QString &remark : source.remarks)
        print(QLatin1StringView("  ") + remark);
    for (auto skipped = source.skipped.cbegin(); skipped != source.skipped.cend(); ++skipped)
        print(QStringLiteral("  skipped: %1 (%2)").arg(skipped.key()).arg(skipped.value()));
}

/// Read the files of all sources, and count their rows.
void look_at(QList<ready_source> &sources, staging_area &staging, int threads, progress_display &progress,
             const signal_watch &signals_watched)
{
    std::atomic<qint64> done = 0;
    std::atomic<qint64> in_all = 0;
    work_queue queue(threads);
    evidence_check evidence(
        queue,
        [&](qint64 bytes) {
            progress.show_bytes(reading_phase, done += bytes, in_all);
            return signals_watched.received() == 0;
        },
        evidence_check::again::identity);
    for (qsizetype i = 0; i < sources.size(); ++i)
        evidence.begin(sources.at(i), staging.folder(static_cast<int>(i)) + u"counting/", [](const expected_rows &) {});
    in_all = evidence.bytes_in_all();
    for (qsizetype i = 0; i < sources.size(); ++i)
        evidence.finish_first_look(static_cast<std::size_t>(i), sources[i]);
}

exit_status inspect_sources(const source_options &options, signal_watch &signals_watched)
{
    for (const QString &source : options.sources) {
        if (const maybe_refusal missing = check_given(source))
            return refuse(*missing, options.json);
    }
    const QTemporaryDir directory;
    if (!directory.isValid())
        return refuse({exit_status::bad_result, directory.errorString()}, options.json);
    staging_area staging(directory.path() + QLatin1StringView("/staging"), options.limits);
    signals_watched.before_exit([place = directory.path()] { remove_whole(place); });
    const auto handlers_end = qScopeGuard([&] { signals_watched.forget_handler(); });
    progress_display progress(options.quiet);
    const auto show_bytes = [&](const QString &phase, qint64 done, qint64 in_all) {
        progress.show_bytes(phase, done, in_all);
        return signals_watched.received() == 0;
    };
    const prepare_options preparing = {.scheme = options.scheme,
                                       .accept_missing_parts = options.accept_missing_parts,
                                       .hash = true,
                                       .keep_mail = false,
                                       .go_on = [&] { return signals_watched.received() == 0; }};
    QList<ready_source> sources;
    maybe_refusal refused = prepare_sources(options.sources, preparing, staging, show_bytes, sources);
    if (!refused)
        look_at(sources, staging, options.threads, progress, signals_watched);
    progress.finish();
    if (signals_watched.received() != 0)
        refused = {signals_watched.status(), QStringLiteral("cancelled")};
    if (refused)
        return refuse(*refused, options.json);

    QJsonArray array;
    for (const ready_source &source : std::as_const(sources)) {
        if (options.json)
            array.append(json_of(source));
        else
            print_as_text(source);
    }
    if (options.json)
        print_json(array);
    const bool is_sound =
        std::ranges::all_of(sources, [](const ready_source &source) { return faults_of(source).isEmpty(); });
    return is_sound ? exit_status::done : exit_status::done_with_failures;
}

} // namespace

void add_inspect_command(command_line &line)
{
    const auto options = std::make_shared<source_options>();
    const sub_command command = line.add("inspect", "Show what sources contain, without extracting", [&line, options] {
        application running(line);
        return inspect_sources(*options, running.signals_watched);
    });
    command.texts("SOURCE", options->sources, "as for extract").required();
    add_source_options(command, *options);
}
