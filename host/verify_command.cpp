#include "host/verify_command.h"

#include "host/command_line.h"
#include "host/pass/digest.h"
#include "host/result_database.h"
#include "host/terminal.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

namespace {

/// Compares one item after the other and remembers whether one did not match.
class verification
{
public:
    void check(const QString &path, const QString &recorded, bool belongs_to_result)
    {
        if (checked.contains(path))
            return; // users of one archive share it
        checked.insert(path);
        if (recorded.isEmpty()) {
            print(QStringLiteral("not hashed    ") + path);
        } else if (!QFileInfo::exists(path)) {
            print((belongs_to_result ? QStringLiteral("missing       ") : QStringLiteral("not reached   ")) + path);
            differs |= belongs_to_result;
        } else {
            const bool same = sha256_of_file(path, [](qint64) { return true; }) == recorded;
            print((same ? QStringLiteral("matches       ") : QStringLiteral("differs       ")) + path);
            differs |= !same;
        }
    }

    [[nodiscard]] exit_status status() const { return differs ? exit_status::done_with_failures : exit_status::done; }

private:
    QSet<QString> checked;
    bool differs = false;
};

/// The file at the end of a path that a record holds, for files inside the result only.
bool leads_out(const QString &name)
{
    return QDir::cleanPath(name).startsWith(u"../") || QDir::isAbsolutePath(name);
}

exit_status verify_result(const QString &result_dir)
{
    const result_paths paths(result_dir);
    QFile file(paths.run_record);
    if (!file.open(QIODevice::ReadOnly))
        return refuse({exit_status::bad_source, paths.run_record + QLatin1StringView(": cannot be read (") +
                                                    file.errorString() +
                                                    QLatin1StringView("); name a result directory")});
    const QJsonObject record = QJsonDocument::fromJson(file.readAll()).object();
    if (!record.contains(u"sources"))
        return refuse({exit_status::bad_source, paths.run_record + QLatin1StringView(": is no record of a run")});

    print(QStringLiteral("run %1, started %2").arg(record[u"state"].toString(), record[u"started"].toString()));
    verification items;
    const QJsonObject database = record[u"result_database"].toObject();
    items.check(paths.directory + database[u"name"].toString(), database[u"sha256"].toString(), true);
    for (const QJsonValue &each : record[u"attachments"].toArray()) {
        const QString name = each[u"name"].toString();
        if (!leads_out(name))
            items.check(paths.directory + name, each[u"sha256"].toString(), true);
    }
    for (const QJsonValue &source : record[u"sources"].toArray()) {
        for (const QJsonValue &given : source[u"given"].toArray()) {
            if (!given[u"size"].isNull()) // a directory has no hash of its own
                items.check(given[u"path"].toString(), given[u"sha256_before"].toString(), false);
        }
        if (source[u"staged"].toBool())
            continue; // members of an archive go with it
        const QString root = source[u"root"].toString();
        for (const QJsonValue &read : source[u"files"].toArray())
            items.check(root + read[u"source_file"].toString().sliced(1), read[u"sha256_before"].toString(), false);
    }
    print(QLatin1StringView("SHA-256 of run.json ") + sha256_of_file(paths.run_record, [](qint64) { return true; }));
    return items.status();
}

} // namespace

void add_verify_command(command_line &line)
{
    const auto result_dir = std::make_shared<QString>();
    CLI::App &command = line.add("verify", "Compare a result, and its source, with the record of the run",
                                 [result_dir] { return verify_result(*result_dir); });
    add_text(command, "RESULT_DIR", *result_dir, "as for extract")->required();
}
