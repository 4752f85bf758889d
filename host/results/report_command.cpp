#include "host/results/report_command.h"

#include "host/command_line.h"
#include "host/results/new_directory.h"
#include "host/results/report_data.h"
#include "host/results/report_tables.h"
#include "host/terminal.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QJsonDocument>
#include <QUrl>

namespace {

constexpr int report_version = 1; // of the data files; the page refuses others

/// Refuses a place where there is anything but an earlier report or an empty directory.
maybe_refusal check_place(const QString &out)
{
    const QFileInfo there(out);
    const bool is_earlier_report = QFileInfo::exists(out + QLatin1StringView("/data/start.js"));
    const bool is_empty =
        there.isDir() && QDir(out).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    if (there.isSymLink() || (there.exists() && !is_earlier_report && !is_empty))
        return refusal{exit_status::bad_result,
                       out + QLatin1StringView(": exists and is not a report; choose another --out")};
    return {};
}

maybe_refusal write_page(const QString &directory)
{
    const QString resources = QStringLiteral(":/report/");
    for (QDirIterator files(resources, QDir::Files); files.hasNext();) {
        const QString from = files.next();
        const QString to = directory + u'/' + files.fileName();
        if (!QFile::copy(from, to))
            return refusal{exit_status::bad_result,
                           to + QLatin1StringView(": cannot be written; free some space, or choose another --out")};
        QFile::setPermissions(to, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup |
                                      QFileDevice::ReadOther);
    }
    return {};
}

/// The same for every report of a result, so that bookmarks survive a new report.
QByteArray identity_of(const QString &database)
{
    QFile file(database);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (file.open(QIODevice::ReadOnly))
        hash.addData(file.read(1 << 20));
    hash.addData(QByteArray::number(file.size()));
    return hash.result().toHex().first(32);
}

/// How the page addresses a file of the result: relative to itself, each step escaped, "/" at the end.
QString result_address(const QString &report, const QString &result)
{
    const QFileInfo place(report);
    const QDir page(place.dir().canonicalPath() + u'/' + place.fileName());
    const QString relative = QDir::cleanPath(page.relativeFilePath(QFileInfo(result).canonicalFilePath()));
    return QString::fromLatin1(QUrl::toPercentEncoding(relative, "/")) + u'/';
}

/// run.json without the list of attachments, as text: its keys are not this program's alone.
QByteArray run_text(const result_reader &reader)
{
    QJsonObject run = reader.run_record();
    run.remove(QStringLiteral("attachments"));
    return run.isEmpty() ? QByteArray() : QJsonDocument(run).toJson(QJsonDocument::Compact);
}

void write_row(const sqlite_statement &row, json_text &out)
{
    out.begin_list();
    for (int i = 0; i < row.columns(); ++i) {
        if (row.at(i).stored_as == cell::type::integer)
            out.number(row.number(i));
        else
            out.text(QByteArrayView(row.text(i)));
    }
    out.end_list();
}

maybe_refusal write_counts(const result_reader &reader, json_text &out)
{
    const std::pair<const char *, const char *> queries[] = {
        {"differences", "select field, kind, count(distinct mail), count(*) from mail_db.difference"
                        " group by field, kind order by 3 desc"},
        {"stored_files", "select kind, count(*) from mail_db.attachment_file group by kind order by kind"},
    };
    for (const auto &[key, query] : queries) {
        out.key(key);
        out.begin_list();
        if (reader.has_mail()) {
            sqlite_statement rows = reader.query(query);
            while (rows.next())
                write_row(rows, out);
            if (maybe_refusal refused = reader.failure(rows))
                return refused;
        }
        out.end_list();
    }
    return {};
}

maybe_refusal write_start(const result_reader &reader, const QString &out, const QString &folder,
                          const report_data &data, const json_text &tables)
{
    json_text start;
    start.begin_object();
    start.key("version");
    start.number(report_version);
    start.key("program");
    start.text(QStringLiteral(GMAIL_VERSION));
    start.key("made");
    start.number(QDateTime::currentSecsSinceEpoch());
    start.key("identity");
    start.text(QByteArrayView(identity_of(reader.database())));
    start.key("result");
    start.text(QDir::toNativeSeparators(QFileInfo(reader.directory()).absoluteFilePath()));
    start.key("result_address");
    start.text(result_address(out, reader.directory()));
    start.key("run");
    start.text_or_null(run_text(reader));
    start.key("mail_problem");
    start.text_or_null(reader.has_mail() ? QByteArray() : reader.mail_problem()->text.toUtf8());
    data.describe(start);
    start.key("tables");
    start.value(tables);
    if (maybe_refusal refused = write_counts(reader, start))
        return refused;
    start.end_object();
    return write_script(folder + QLatin1StringView("/start.js"), "start", 0, start);
}

maybe_refusal write_report(const result_reader &reader, const QString &out, signal_watch &signals_watched)
{
    const auto go_on = [&signals_watched] { return signals_watched.received() == 0; };
    if (maybe_refusal refused = check_place(out))
        return refused;
    new_directory directory;
    if (maybe_refusal refused = directory.make(out))
        return refused;
    signals_watched.before_exit([path = directory.path()] { QDir(path).removeRecursively(); });
    if (maybe_refusal refused = write_page(directory.path()))
        return refused;
    const QString folder = directory.path(QStringLiteral("data"));
    QDir().mkdir(folder);
    report_data data(folder);
    if (maybe_refusal refused = data.write(reader, go_on))
        return refused;
    json_text tables;
    tables.begin_list();
    if (maybe_refusal refused = write_tables(reader, folder, go_on, tables))
        return refused;
    tables.end_list();
    if (maybe_refusal refused = write_start(reader, out, folder, data, tables))
        return refused;
    if (maybe_refusal refused = reader.changed())
        return refused;
    return go_on() ? directory.finish() : maybe_refusal();
}

struct report_options
{
    QString result_dir;
    QString out; ///< "Report" beside the result database when empty
};

exit_status report(const report_options &options)
{
    signal_watch signals_watched;
    result_reader reader;
    if (const maybe_refusal refused = reader.open(options.result_dir))
        return refuse(*refused);
    const QString chosen = options.out.isEmpty() ? reader.directory() + QLatin1StringView("Report") : options.out;
    const QString out = QDir::cleanPath(QFileInfo(chosen).absoluteFilePath());
    const maybe_refusal refused = write_report(reader, out, signals_watched);
    signals_watched.forget_handler();
    if (refused)
        return refuse(*refused);
    if (signals_watched.received() != 0) {
        complain(QStringLiteral("cancelled; no report was written"));
        return signals_watched.status();
    }
    print(QString(out + QLatin1StringView("/index.html")));
    return exit_status::done;
}

} // namespace

void add_report_command(command_line &line)
{
    const auto options = std::make_shared<report_options>();
    const sub_command command = line.add("report", "Write a result as a page that a browser opens from the disk",
                                         [options] { return report(*options); });
    command.text("RESULT_DIR", options->result_dir, "as for extract").required();
    command.text("--out", options->out,
                 "directory for the report (\"Report\" beside Gmail.sqlite); an earlier report there is replaced");
}
