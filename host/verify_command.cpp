#include "host/verify_command.h"

#include "host/command_line.h"
#include "host/pass/digest.h"
#include "host/progress.h"
#include "host/result_database.h"
#include "host/terminal.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QSet>

namespace {

constexpr char verify_status_help[] =
    "Exit status:\n"
    "  0  everything is as recorded\n"
    "  2  wrong usage\n"
    "  3  something differs, is missing, was not hashed or is not recorded, or a run\n"
    "     is in progress, was cancelled or failed\n"
    "  4  RESULT_DIR has no readable record\n"
    "  8  done, but standard output could not be written";

const QStringList verdicts = {QStringLiteral("matches"),    QStringLiteral("differs"),
                              QStringLiteral("missing"),    QStringLiteral("not reached"),
                              QStringLiteral("not hashed"), QStringLiteral("not recorded")};

/// A file that a record names, or the beginning of one.
struct recorded_file
{
    QString path;
    QString sha256;   ///< empty when it was not hashed
    qint64 size = -1; ///< bytes that were hashed; -1 for the whole file
    QString needs;    ///< directory without which the file is out of reach; empty for files of the result
};

/// A run's record, and which of its tables a later run emptied.
struct known_record
{
    QString name;
    QJsonObject content;
    QStringList emptied;

    [[nodiscard]] QStringList tables() const
    {
        QStringList names;
        for (const QJsonValue &each : content[u"tables"].toArray())
            names.append(each.toString());
        return names;
    }
    [[nodiscard]] bool has_messages() const { return !emptied.contains(QLatin1StringView("messages")); }
    /// A later run emptied everything that this run wrote.
    [[nodiscard]] bool is_replaced() const
    {
        const QStringList filled = tables();
        return !filled.isEmpty() && std::all_of(filled.begin(), filled.end(),
                                                [this](const QString &table) { return emptied.contains(table); });
    }
};

class verification
{
public:
    verification(const QString &result_dir, bool quiet)
        : paths(QFileInfo(result_dir).absoluteFilePath())
        , progress(quiet)
    {
    }

    exit_status run();

private:
    maybe_refusal read_records();
    maybe_refusal read_record(const QString &path);
    void note_emptied_tables();
    void list_files();
    void list_results(const known_record &record, bool is_last);
    void list_sources(const known_record &record);
    void add(recorded_file file);
    [[nodiscard]] QString verdict_on(const recorded_file &file);
    void find_unrecorded();
    void say(const QString &verdict, const QString &path);

    result_paths paths;
    progress_display progress;
    QList<known_record> records; ///< in the order of the runs
    QList<recorded_file> files;
    QSet<QString> listed;
    QSet<QString> known; ///< files of the result that some record names
    QMap<QString, qint64> counts;
    qint64 bytes_done = 0;
    qint64 bytes_in_all = 0;
    bool is_unfinished = false; ///< a run did not complete
};

maybe_refusal verification::read_record(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return refusal{exit_status::bad_source, path + QLatin1StringView(": cannot be read (") + file.errorString() +
                                                    QLatin1StringView("); name a result directory")};
    const QJsonObject content = QJsonDocument::fromJson(file.readAll()).object();
    if (!content.contains(u"sources"))
        return refusal{exit_status::bad_source, path + QLatin1StringView(": is not a run record")};
    records.append({QFileInfo(path).fileName(), content, {}});
    known.insert(path);
    return {};
}

/// "run-1.json", "run-2.json", ..., "run.json"
maybe_refusal verification::read_records()
{
    const QString begin = paths.run_record.chopped(QLatin1StringView(".json").size()) + u'-';
    for (int number = 1;; ++number) {
        const QString earlier = begin + QString::number(number) + QLatin1StringView(".json");
        if (!QFileInfo::exists(earlier))
            break;
        if (maybe_refusal unreadable = read_record(earlier))
            return unreadable;
    }
    return read_record(paths.run_record);
}

void verification::note_emptied_tables()
{
    QStringList emptied;
    for (qsizetype i = records.size() - 1; i >= 0; --i) {
        known_record &record = records[i];
        record.emptied = emptied;
        if (record.content[u"cleared"].toBool() && record.content[u"engine"].toInt() == 0)
            emptied += record.tables();
    }
}

void verification::add(recorded_file file)
{
    if (listed.contains(file.path))
        return; // several users share one archive, several runs one log
    listed.insert(file.path);
    if (file.needs.isEmpty())
        known.insert(file.path);
    bytes_in_all += file.sha256.isEmpty() ? 0 : qMax<qint64>(0, QFileInfo(file.path).size());
    files.append(std::move(file));
}

/// Every object of the record that has a name and a SHA-256 is a file of the result.
void verification::list_results(const known_record &record, bool is_last)
{
    const auto add_result = [this](const QJsonValue &each) {
        const QString name = QDir::cleanPath(each[u"name"].toString());
        if (!name.isEmpty() && !name.startsWith(u"../") && !QDir::isAbsolutePath(name)) // a record may be forged
            add({paths.directory + name, each[u"sha256"].toString(), -1, {}});
    };
    for (const QJsonValue &value : record.content) {
        if (is_last && value.isObject() && value.toObject().contains(u"name")) // a later run changed the database
            add_result(value);
        if (!value.isArray() || !record.has_messages())
            continue;
        for (const QJsonValue &each : value.toArray()) {
            if (each.isObject() && each.toObject().contains(u"sha256"))
                add_result(each);
        }
    }
    if (const QJsonObject log = record.content[u"log"].toObject(); !log.isEmpty())
        add({QDir::cleanPath(QDir(paths.directory).absoluteFilePath(log[u"path"].toString())),
             log[u"sha256"].toString(),
             log[u"size"].toInteger(),
             {}});
}

void verification::list_sources(const known_record &record)
{
    for (const QJsonValue &source : record.content[u"sources"].toArray()) {
        for (const QJsonValue &given : source[u"given"].toArray()) {
            const QString path = given[u"path"].toString();
            if (!given[u"size"].isNull()) // a directory has no hash of its own
                add({path, given[u"sha256_before"].toString(), -1, QFileInfo(path).path()});
        }
        if (source[u"staged"].toBool())
            continue; // the hash of an archive covers its members
        const QString root = source[u"root"].toString();
        for (const QJsonValue &read : source[u"files"].toArray())
            add({root + read[u"source_file"].toString().mid(1), read[u"sha256_before"].toString(), -1, root});
    }
}

/// From the last run to the first: the latest record of a file counts.
void verification::list_files()
{
    for (qsizetype i = records.size() - 1; i >= 0; --i) {
        const known_record &record = records.at(i);
        if (record.is_replaced())
            continue;
        list_results(record, i == records.size() - 1);
        list_sources(record);
    }
}

QString verification::verdict_on(const recorded_file &file)
{
    if (file.sha256.isEmpty())
        return verdicts.at(4);
    if (!QFileInfo::exists(file.path))
        return file.needs.isEmpty() || QFileInfo::exists(file.needs) ? verdicts.at(2) : verdicts.at(3);
    const auto go_on = [this](qint64 bytes) {
        bytes_done += bytes;
        progress.show_bytes(bytes_done, qMax(bytes_in_all, bytes_done));
        return true;
    };
    const QString now = file.size < 0 ? sha256_of_file(file.path, go_on) : sha256_of_begin(file.path, file.size, go_on);
    return now == file.sha256 ? verdicts.at(0) : verdicts.at(1);
}

void verification::say(const QString &verdict, const QString &path)
{
    progress.finish();
    ++counts[verdict];
    print(QStringLiteral("%1 %2").arg(verdict, -13).arg(path));
}

/// Files of the result that no record lists. (The lock exists during a run.)
void verification::find_unrecorded()
{
    known.insert(paths.lock);
    QDirIterator entries(paths.directory, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        if (!known.contains(path))
            say(verdicts.at(5), path);
    }
}

exit_status verification::run()
{
    if (const maybe_refusal unreadable = read_records())
        return refuse(*unreadable);
    note_emptied_tables();
    for (const known_record &record : std::as_const(records)) {
        const QString state = record.content[u"state"].toString();
        print(QStringLiteral("run %1, started %2 (%3)%4")
                  .arg(state, record.content[u"started"].toString(), record.name,
                       record.is_replaced() ? QStringLiteral(", emptied by a later run") : QString()));
        is_unfinished |= state != u"complete" && !record.is_replaced();
    }
    list_files();
    progress.begin_phase(QStringLiteral("verifying"));
    for (const recorded_file &file : std::as_const(files))
        say(verdict_on(file), file.path);
    find_unrecorded();
    print(QLatin1StringView("SHA-256 of run.json ") + sha256_of_file(paths.run_record, [](qint64) { return true; }));
    QStringList totals;
    for (const QString &verdict : verdicts)
        totals.append(QStringLiteral("%1 %2").arg(counts.value(verdict)).arg(verdict));
    print(totals.join(QLatin1StringView(", ")));
    const qint64 good = counts.value(verdicts.at(0)) + counts.value(verdicts.at(3));
    qint64 all = 0;
    for (const qint64 count : std::as_const(counts))
        all += count;
    return good == all && !is_unfinished ? exit_status::done : exit_status::done_with_failures;
}

} // namespace

void add_verify_command(command_line &line)
{
    struct verify_options
    {
        QString result_dir;
        bool quiet = false;
    };
    const auto options = std::make_shared<verify_options>();
    const sub_command command = line.add("verify", "Compare a result, and its source, with the records of its runs",
                                         [options] { return verification(options->result_dir, options->quiet).run(); });
    command.text("RESULT_DIR", options->result_dir, "as for extract").required();
    command.flag("--quiet", options->quiet, "show no progress");
    command.end_help_with(verify_status_help);
}
