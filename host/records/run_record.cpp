#include "host/records/run_record.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTimeZone>
#include <QVariant>

#include <archive.h>
#include <openssl/crypto.h>
#include <zlib.h>

namespace {

constexpr qsizetype max_failure_lines = 1000;
constexpr qsizetype room_kept = 256 * 1024; ///< bytes, for the final record on a disk that is full by then

/// Null when unknown.
QJsonValue text_or_null(const QString &text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonValue count_or_null(qint64 count)
{
    return count < 0 ? QJsonValue() : QJsonValue(count);
}

QString sqlite_version()
{
    const QString connection = QStringLiteral("gmail_host version");
    QString version;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(QStringLiteral(":memory:"));
        db.open();
        QSqlQuery query(QStringLiteral("select sqlite_version()"), db);
        if (query.next())
            version = query.value(0).toString();
    }
    QSqlDatabase::removeDatabase(connection);
    return version;
}

QJsonObject programs(const run_record &record)
{
    return {
        {QStringLiteral("gmail_host"), QStringLiteral(GMAIL_VERSION)},
        {QStringLiteral("build"), QStringLiteral(GMAIL_BUILD)},
        {QStringLiteral("plugin"), record.library},
        {QStringLiteral("plugin_sha256"), text_or_null(sha256_of_file(record.library, [](qint64) { return true; }))},
        {QStringLiteral("Qt"), QString::fromLatin1(qVersion())},
        {QStringLiteral("SQLite"), sqlite_version()},
        {QStringLiteral("libarchive"), QString::fromLatin1(archive_version_string())},
        {QStringLiteral("OpenSSL"), QString::fromLatin1(OpenSSL_version(OPENSSL_VERSION))},
        {QStringLiteral("zlib"), QString::fromLatin1(zlibVersion())},
    };
}

QJsonArray differences_of(const QList<difference> &differences)
{
    QJsonArray array;
    for (const difference &each : differences)
        array.append(QJsonObject{{QStringLiteral("reason"), each.reason}, {QStringLiteral("rows"), each.rows}});
    return array;
}

QJsonObject json_of(const given_source &given)
{
    return {{QStringLiteral("path"), given.path},
            {QStringLiteral("type"), given.type},
            {QStringLiteral("size"), count_or_null(given.size)},
            {QStringLiteral("sha256_before"), text_or_null(given.sha256_before)},
            {QStringLiteral("sha256_after"), text_or_null(given.sha256_after)}};
}

QJsonObject json_of(const source_file &file)
{
    return {{QStringLiteral("source_file"), QString(u'/' + file.place)},
            {QStringLiteral("given_in"), file.given_in},
            {QStringLiteral("member"), file.member},
            {QStringLiteral("size"), file.size},
            {QStringLiteral("modified"),
             file.modified < 0 ? QJsonValue()
                               : QJsonValue(utc_text(QDateTime::fromSecsSinceEpoch(file.modified, Qt::UTC)))},
            {QStringLiteral("sha256_before"), text_or_null(file.sha256_before)},
            {QStringLiteral("sha256_after"), text_or_null(file.sha256_after)}};
}

QJsonObject json_of(const source_record &record)
{
    const ready_source &source = record.source;
    QJsonArray given, files, tables, mailboxes;
    for (const given_source &each : source.given)
        given.append(json_of(each));
    for (const source_file &each : source.files)
        files.append(json_of(each));
    for (const table_balance &each : record.balance.tables)
        tables.append(QJsonObject{{QStringLiteral("table"), each.table},
                                  {QStringLiteral("rows_expected"), count_or_null(each.expected)},
                                  {QStringLiteral("rows_written"), each.written},
                                  {QStringLiteral("differences"), differences_of(each.differences)}});
    for (const mbox_balance &each : record.balance.mailboxes)
        mailboxes.append(QJsonObject{{QStringLiteral("source_file"), QString(u'/' + each.place)},
                                     {QStringLiteral("separators"), each.separators},
                                     {QStringLiteral("rows_written"), each.written},
                                     {QStringLiteral("differences"), differences_of(each.differences)}});
    QJsonObject skipped;
    for (auto each = source.skipped.cbegin(); each != source.skipped.cend(); ++each)
        skipped[each.key()] = each.value();
    return {{QStringLiteral("scheme"), source.found.scheme},
            {QStringLiteral("user"), text_or_null(source.user)},
            {QStringLiteral("source_count"), record.source_count},
            {QStringLiteral("staged"), source.staged},
            {QStringLiteral("root"), source.staged ? QJsonValue() : QJsonValue(source.found.root)},
            {QStringLiteral("given"), given},
            {QStringLiteral("files"), files},
            {QStringLiteral("tables"), tables},
            {QStringLiteral("mbox_files"), mailboxes},
            {QStringLiteral("skipped_members"), skipped},
            {QStringLiteral("skipped_paths"), QJsonArray::fromStringList(source.skipped_paths)},
            {QStringLiteral("remarks"),
             QJsonArray::fromStringList(source.remarks + source.expected.remarks + source.failures)}};
}

QJsonObject json_of(const written_file &file)
{
    return {{QStringLiteral("name"), file.name},
            {QStringLiteral("size"), file.size},
            {QStringLiteral("sha256"), text_or_null(file.sha256)}};
}

QJsonObject json_of(const recorded_log &log)
{
    return {{QStringLiteral("path"), log.path},
            {QStringLiteral("size"), log.size},
            {QStringLiteral("sha256"), text_or_null(log.sha256)}};
}

QJsonObject json_of(const run_record &record, const extract_options &options)
{
    QJsonArray sources;
    for (const source_record &each : record.sources)
        sources.append(json_of(each));
    return {
        {QStringLiteral("format"), run_record_format},
        {QStringLiteral("state"), record.state},
        {QStringLiteral("examiner"), text_or_null(options.examiner)},
        {QStringLiteral("case"), text_or_null(options.case_name)},
        {QStringLiteral("arguments"), QJsonArray::fromStringList(options.arguments)},
        {QStringLiteral("working_directory"), options.working_directory},
        {QStringLiteral("tables"), QJsonArray::fromStringList(options.tables)},
        {QStringLiteral("engine"), options.engine},
        {QStringLiteral("cleared"), options.clear},
        {QStringLiteral("compared_by"), text_or_null(record.compared_by)},
        {QStringLiteral("programs"), programs(record)},
        {QStringLiteral("host_time_zone"), QString::fromLatin1(QTimeZone::systemTimeZoneId())},
        {QStringLiteral("started"), utc_text(record.started)},
        {QStringLiteral("ended"), record.ended.isValid() ? QJsonValue(utc_text(record.ended)) : QJsonValue()},
        {QStringLiteral("sources"), sources},
        {QStringLiteral("failures"), count_or_null(record.failures)},
        {QStringLiteral("failure_lines"),
         QJsonArray::fromStringList(record.failure_lines.first(qMin(record.failure_lines.size(), max_failure_lines)))},
        {QStringLiteral("result_database"), json_of(record.database)},
        {QStringLiteral("mail"), record.mail.isEmpty() ? QJsonValue() : QJsonValue(record.mail)},
        {QStringLiteral("mail_database"), record.mail.isEmpty() ? QJsonValue() : json_of(record.mail_database)},
        {QStringLiteral("log"), record.log ? QJsonValue(json_of(*record.log)) : QJsonValue()},
    };
}

/// One line per file; its name shows its hash.
void write_parts(QFileDevice &file, const QStringList &names, const QString &directory)
{
    constexpr qsizetype size_of_hash = 64; // letters
    for (const QString &name : names) {
        const QString relative = QLatin1StringView("Parts/") + name;
        const written_file each = {relative, QFileInfo(directory + relative).size(), name.left(size_of_hash)};
        file.write(&name == &names.first() ? "\n        " : ",\n        ");
        file.write(QJsonDocument(json_of(each)).toJson(QJsonDocument::Compact));
    }
}

/// One line per attachment: there may be millions.
void write_attachments(QFileDevice &file, const QStringList &names, const QString &directory, attachment_hashes *hashes)
{
    for (qsizetype i = 0; i < names.size(); ++i) {
        const QString &name = names.at(i);
        const written_file each =
            hashes ? hashes->file(name)
                   : written_file{QLatin1StringView("Attachments/") + name, QFileInfo(directory + name).size(), {}};
        file.write(i == 0 ? "\n        " : ",\n        ");
        file.write(QJsonDocument(json_of(each)).toJson(QJsonDocument::Compact));
    }
}

} // namespace

QString utc_text(const QDateTime &time)
{
    return time.toUTC().toString(QStringLiteral("yyyy-MM-ddThh:mm:ssZ"));
}

namespace {

/// False, with `problem` set, when the disk did not take all of it; an earlier record is then kept.
bool write_whole(const result_paths &paths, const run_record &record, const extract_options &options,
                 attachment_hashes *hashes, QString &problem)
{
    QSaveFile file(paths.run_record);
    if (file.open(QIODevice::WriteOnly)) {
        constexpr QByteArrayView end("\n}\n");
        file.write(QJsonDocument(json_of(record, options)).toJson(QJsonDocument::Indented).chopped(end.size()));
        file.write(",\n    \"attachments\": [");
        write_attachments(file, record.attachments, paths.attachments, hashes);
        file.write("\n    ],\n    \"parts\": [");
        write_parts(file, record.parts, paths.directory);
        file.write("\n    ]");
        file.write(end.data(), end.size());
        if (!record.ended.isValid())
            file.write(QByteArray(room_kept, ' '));
        file.flush();
        problem = file.errorString(); // `commit` forgets it
        return file.commit();         // fails when a write did
    }
    problem = file.errorString();
    return false;
}

/// Free the blanks at the end of the record of a run in progress.
void free_kept_room(const QString &path)
{
    QFile file(path);
    if (file.open(QIODevice::ReadWrite) && file.size() > room_kept && file.seek(file.size() - room_kept) &&
        file.read(room_kept).trimmed().isEmpty())
        file.resize(file.size() - room_kept);
}

} // namespace

maybe_refusal write_run_record(const result_paths &paths, const run_record &record, const extract_options &options,
                               attachment_hashes *hashes)
{
    QString problem;
    if (write_whole(paths, record, options, hashes, problem))
        return {};
    free_kept_room(paths.run_record);
    if (write_whole(paths, record, options, hashes, problem))
        return {};
    return refusal{exit_status::record_lost,
                   paths.run_record + QLatin1StringView(": the record of this run could not be written (") + problem +
                       QLatin1StringView("); free some space or choose another RESULT_DIR")};
}

void keep_earlier_record(const QString &path)
{
    if (!QFile::exists(path))
        return;
    const QString begin = path.chopped(QLatin1StringView(".json").size()) + u'-';
    for (int number = 1;; ++number) {
        const QString kept = begin + QString::number(number) + QLatin1StringView(".json");
        if (!QFile::exists(kept)) {
            QFile::rename(path, kept);
            return;
        }
    }
}
