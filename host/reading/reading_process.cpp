#include "host/reading/reading_process.h"

#include "host/command_line.h"
#include "host/reading/mail_places.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>

#include <csignal>
#include <cstdio>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr QLatin1StringView command_name("read-beside");
constexpr int milliseconds_to_wait = 100;
constexpr int milliseconds_between_reports = 200;
constexpr int milliseconds_to_end = 5'000; // after a cancel

QByteArray line_of(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

/// Write to the extraction; one that no longer reads has ended.
void send(const QJsonObject &object)
{
    const QByteArray line = line_of(object);
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
    std::fflush(stdout);
}

QJsonObject object_of(const QByteArray &line)
{
    return QJsonDocument::fromJson(line).object();
}

QJsonObject as_json(const reading_job &job, bool replacing)
{
    QJsonArray sources;
    for (const reading_source &each : job.sources)
        sources.append(QJsonObject{{QStringLiteral("scheme"), each.scheme},
                                   {QStringLiteral("root"), each.root},
                                   {QStringLiteral("source_count_name"), each.source_count_name},
                                   {QStringLiteral("places"), QJsonArray::fromStringList(each.places)}});
    return {{QStringLiteral("directory"), job.directory},
            {QStringLiteral("sources"), sources},
            {QStringLiteral("threads"), job.threads},
            {QStringLiteral("replacing"), replacing}};
}

reading_job job_of(const QJsonObject &object)
{
    reading_job job = {
        .directory = object[u"directory"].toString(), .sources = {}, .threads = object[u"threads"].toInt(1)};
    for (const QJsonValue &each : object[u"sources"].toArray()) {
        QStringList places;
        for (const QJsonValue &place : each[u"places"].toArray())
            places.append(place.toString());
        job.sources.append(
            {each[u"scheme"].toString(), each[u"root"].toString(), each[u"source_count_name"].toString(), places});
    }
    return job;
}

/// Lines from standard input, without waiting unless asked to.
class input_lines
{
public:
    /// One line, once it is there; empty until then, and at the end of the input.
    QByteArray take(bool waiting)
    {
        while (!bytes.contains('\n') && !has_ended) {
            pollfd input = {STDIN_FILENO, POLLIN, 0};
            if (::poll(&input, 1, waiting ? milliseconds_to_wait : 0) <= 0)
                return {};
            char block[4096];
            const ssize_t count = ::read(STDIN_FILENO, block, sizeof block);
            has_ended = count <= 0;
            bytes.append(block, qMax<ssize_t>(count, 0));
        }
        const qsizetype end = bytes.indexOf('\n') + 1;
        const QByteArray line = bytes.first(end);
        bytes.remove(0, end);
        return line;
    }
    [[nodiscard]] bool is_over() const { return has_ended && !bytes.contains('\n'); }

private:
    QByteArray bytes;
    bool has_ended = false;
};

/// The process itself.
class reading_beside
{
public:
    explicit reading_beside(signal_watch &watch)
        : signals_watched(watch)
    {
    }

    exit_status run();

private:
    [[nodiscard]] bool go_on(const char *phase, qint64 done, qint64 in_all);
    void look_for_rows(bool waiting);
    void read_and_compare(const reading_job &job, mail_database &database);

    signal_watch &signals_watched;
    input_lines input;
    std::optional<QJsonObject> rows; ///< once the extraction has ended
    QElapsedTimer since_report;
    reading_report report;
};

void reading_beside::look_for_rows(bool waiting)
{
    if (rows)
        return;
    if (const QByteArray line = input.take(waiting); !line.isEmpty())
        rows = object_of(line);
}

bool reading_beside::go_on(const char *phase, qint64 done, qint64 in_all)
{
    look_for_rows(false);
    if (rows && (!since_report.isValid() || since_report.elapsed() > milliseconds_between_reports)) {
        send({{QStringLiteral("phase"), QString::fromLatin1(phase)},
              {QStringLiteral("done"), done},
              {QStringLiteral("in_all"), in_all}});
        since_report.start();
    }
    return signals_watched.received() == 0 && !input.is_over();
}

void reading_beside::read_and_compare(const reading_job &job, mail_database &database)
{
    report.reading =
        read_mails(job, database, [this](qint64 done, qint64 in_all) { return go_on("reading mail", done, in_all); });
    while (!rows && !report.reading.cancelled && signals_watched.received() == 0 && !input.is_over())
        look_for_rows(true);
    if (!rows || report.reading.cancelled || signals_watched.received() != 0)
        return;
    const comparison_job comparison = {job.directory, job.sources, (*rows)[u"rows_after"].toInteger(),
                                       (*rows)[u"why_no_rows"].toString()};
    report.comparison = compare_rows(comparison, database, [this](qint64) { return go_on("comparing rows", 0, 0); });
    report.is_compared = true;
}

exit_status reading_beside::run()
{
    QByteArray line;
    while (line.isEmpty() && !input.is_over() && signals_watched.received() == 0)
        line = input.take(true);
    const QJsonObject given = object_of(line);
    const reading_job job = job_of(given);
    if (job.directory.isEmpty())
        return exit_status::wrong_usage;
    if (given[u"replacing"].toBool())
        remove_earlier_mail(job.directory);
    mail_database database;
    if (const maybe_refusal unusable = database.open(job.directory + mail_database_name))
        report.reading.failures.append(unusable->text);
    else
        read_and_compare(job, database);
    database.close(!report.reading.cancelled && !report.comparison.cancelled);
    if (!database.failure().isEmpty() && report.reading.failures.isEmpty() && report.comparison.failures.isEmpty())
        report.reading.failures.append(job.directory + mail_database_name + QLatin1StringView(": cannot be written (") +
                                       database.failure() + u')');
    send(as_json(report));
    return exit_status::done;
}

} // namespace

reading_process::~reading_process()
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.kill();
    process.waitForFinished();
}

bool reading_process::start(const reading_job &job, bool replacing)
{
    directory = job.directory;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // A signal from the terminal reaches only the extraction, which passes it on once.
    process.setChildProcessModifier([] {
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    });
    process.start(QCoreApplication::applicationFilePath(), {command_name});
    if (!process.waitForStarted())
        return false;
    process_id = process.processId();
    process.write(line_of(as_json(job, replacing)));
    while (process.bytesToWrite() > 0 && process.waitForBytesWritten()) {}
    return true;
}

void reading_process::cancel()
{
    if (const qint64 id = process_id; id > 0)
        ::kill(static_cast<pid_t>(id), SIGTERM);
}

QString reading_process::how_it_ended() const
{
    const QString what = process.error() == QProcess::FailedToStart ? process.errorString()
                         : process.exitStatus() == QProcess::CrashExit
                             ? QStringLiteral("it was ended by a signal")
                             : QStringLiteral("exit status %1").arg(process.exitCode());
    return QStringLiteral("%1: the mail itself was not read to the end, because the process that reads it failed (%2); "
                          "the rows are complete. Read the mail again with gmail_host read --clear")
        .arg(directory + mail_database_name, what);
}

void reading_process::rows_complete(qint64 rows_after, const QString &why_no_rows)
{
    if (!was_started())
        return;
    process.write(line_of({{QStringLiteral("rows_after"), rows_after}, {QStringLiteral("why_no_rows"), why_no_rows}}));
    while (process.bytesToWrite() > 0 && process.waitForBytesWritten()) {}
}

reading_report reading_process::finish(const on_reading &go_on)
{
    QJsonObject last;
    QElapsedTimer since_cancel;
    QString phase;
    qint64 done = 0, in_all = 0;
    while (process.state() != QProcess::NotRunning || process.canReadLine()) {
        if (!process.canReadLine())
            process.waitForReadyRead(milliseconds_to_wait);
        while (process.canReadLine()) {
            const QJsonObject line = object_of(process.readLine());
            if (!line.contains(u"phase")) {
                last = line;
                continue;
            }
            phase = line[u"phase"].toString();
            done = line[u"done"].toInteger();
            in_all = line[u"in_all"].toInteger();
        }
        if (!phase.isEmpty() && !go_on(phase, done, in_all) && !since_cancel.isValid())
            since_cancel.start();
        if (since_cancel.isValid() && since_cancel.elapsed() > milliseconds_to_end)
            process.kill();
    }
    process_id = 0;
    if (last.contains(u"mails"))
        return report_of(last);
    reading_report failed;
    failed.reading.failures.append(how_it_ended());
    return failed;
}

void add_reading_process_command(command_line &line)
{
    const sub_command command = line.add(command_name.data(), "", [&line] {
        application running(line);
        return reading_beside(running.signals_watched).run();
    });
    command.hide(); // only `extract` starts it
}
