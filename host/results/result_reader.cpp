#include "host/results/result_reader.h"

#include "host/reading/mail_database.h"
#include "host/results/text_functions.h"
#include "plugin/result_schema.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLockFile>
#include <QSysInfo>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/stat.h>

namespace {

constexpr QByteArrayView sqlite_magic("SQLite format 3\0", 16);
constexpr QByteArrayView journal_magic("\xd9\xd5\x05\xf9\x20\xa1\x63\xd7", 8);
constexpr qsizetype header_size = 100;

maybe_refusal bad_result(const QString &text)
{
    return refusal{exit_status::bad_result, text};
}

QByteArray first_bytes(const QString &path, qsizetype count)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(count) : QByteArray();
}

/// Changes that have not reached the database yet: a rollback journal that is in use, or a log of changes.
QString unfinished_writes(const QString &database)
{
    const QString journal = database + QLatin1StringView("-journal");
    if (first_bytes(journal, journal_magic.size()) == journal_magic)
        return journal;
    const QString log = database + QLatin1StringView("-wal");
    return QFileInfo(log).size() > 0 ? log : QString();
}

bool state_of(const QString &path, opened_file &file)
{
    struct stat now = {};
    if (stat(QFile::encodeName(path).constData(), &now) != 0 || !S_ISREG(now.st_mode))
        return false;
    file.number = now.st_ino;
    file.size = now.st_size;
    file.modified = now.st_mtim.tv_sec * 1'000'000'000 + now.st_mtim.tv_nsec;
    return true;
}

/// The number of bytes that the header of a database claims; -1 when it is not a database.
qint64 claimed_size(const QByteArray &header)
{
    if (header.size() < header_size || !header.startsWith(sqlite_magic))
        return -1;
    const auto number = [&header](qsizetype at, qsizetype count) {
        qint64 value = 0;
        for (qsizetype i = at; i < at + count; ++i)
            value = value << 8 | static_cast<uchar>(header.at(i));
        return value;
    };
    const qint64 page_size = number(16, 2) == 1 ? 65536 : number(16, 2);
    const bool count_is_valid = number(24, 4) == number(92, 4);
    return count_is_valid ? page_size * number(28, 4) : 0;
}

/// The process that holds the lock of a result directory, 0 when none that is alive does.
qint64 process_that_writes(const QString &directory)
{
    qint64 process = 0;
    QString host, application;
    if (!QLockFile(directory + QLatin1StringView("gmail_host.lock")).getLockInfo(&process, &host, &application))
        return 0;
    const bool here = host == QSysInfo::machineHostName();
    return here && (kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH) ? 0 : process;
}

QString place_of_result(const QString &given)
{
    const QString directory = QDir::cleanPath(given);
    for (const QLatin1StringView below : {QLatin1StringView("/Artifacts_Result/Gmail/"), QLatin1StringView("/")}) {
        if (QFileInfo::exists(directory + below + QLatin1StringView("Gmail.sqlite")))
            return directory + below;
    }
    return {};
}

} // namespace

maybe_refusal opened_file::look(const QString &file)
{
    path = file;
    if (!state_of(path, *this))
        return bad_result(path + QLatin1StringView(": not a regular file; name a result directory"));
    QFile content(path);
    if (!content.open(QIODevice::ReadOnly))
        return bad_result(path + QLatin1StringView(": cannot be read (") + content.errorString() + u')');
    const QString unfinished = unfinished_writes(path);
    if (!unfinished.isEmpty())
        return bad_result(
            unfinished + QLatin1StringView(": the result is being written, or a writer was stopped before it finished; "
                                           "wait until it is done, or repeat the run"));
    const qint64 claimed = claimed_size(content.read(header_size));
    if (claimed < 0)
        return bad_result(path + QLatin1StringView(": not an SQLite database; restore the file or repeat the run"));
    if (claimed > size)
        return bad_result(
            QStringLiteral("%1: damaged: only %2 of its %3 bytes are there; restore the file or repeat the run")
                .arg(path)
                .arg(size)
                .arg(claimed));
    return {};
}

bool opened_file::unchanged() const
{
    opened_file now;
    return state_of(path, now) && now.number == number && now.size == size && now.modified == modified &&
           unfinished_writes(path).isEmpty();
}

maybe_refusal result_reader::open(const QString &given)
{
    if (!QFileInfo::exists(given))
        return bad_result(given + QLatin1StringView(": does not exist; name a result directory"));
    place = place_of_result(given);
    if (place.isEmpty())
        return bad_result(given + QLatin1StringView(": contains no result (neither Artifacts_Result/Gmail/Gmail.sqlite "
                                                    "nor Gmail.sqlite); name the RESULT_DIR of a run"));
    if (const qint64 process = process_that_writes(place); process != 0)
        return bad_result(QStringLiteral("%1: a run is writing this result (process %2); wait until it ends")
                              .arg(place)
                              .arg(process));
    if (maybe_refusal refused = open_rows())
        return refused;
    no_mail = open_mail();
    if (no_mail) {
        mail = {};
        found_tables.removeIf([](const result_table &each) { return each.known->of_mail; });
    }
    return changed();
}

maybe_refusal result_reader::open_rows()
{
    if (maybe_refusal refused = rows.look(place + QLatin1StringView("Gmail.sqlite")))
        return refused;
    if (!connection.open(rows.path, sqlite_connection::mode::unchanging))
        return damaged(rows.path, connection.failure());
    add_text_functions(connection.native_handle());
    connection.execute("PRAGMA trusted_schema = OFF");
    if (maybe_refusal refused = find_tables(false))
        return refused;
    return compare_columns();
}

maybe_refusal result_reader::open_mail()
{
    const QString path = place + QLatin1StringView("Mail.sqlite");
    if (!QFileInfo::exists(path))
        return bad_result(path + QLatin1StringView(": missing, so only the rows are available; \"gmail_host read "
                                                   "SOURCE RESULT_DIR\" creates it"));
    if (maybe_refusal refused = mail.look(path))
        return refused;
    sqlite_statement attached = query("attach ? as mail_db", {unchanging_uri(path)});
    if (attached.next() || !attached.failure().isEmpty())
        return damaged(path, attached.failure());
    sqlite_statement version = query("pragma mail_db.user_version");
    if (!version.next())
        return damaged(path, version.failure());
    if (version.number(0) != mail_database::schema_version)
        return bad_result(
            QStringLiteral("%1: is of version %2, but this program reads version %3; \"gmail_host read --clear "
                           "SOURCE RESULT_DIR\" replaces it")
                .arg(path)
                .arg(version.number(0))
                .arg(mail_database::schema_version));
    return find_tables(true);
}

maybe_refusal result_reader::find_tables(bool of_mail)
{
    const QByteArray schema = of_mail ? "mail_db" : "main";
    const QString &path = of_mail ? mail.path : rows.path;
    for (const known_table &known : known_tables) {
        if (known.of_mail != of_mail)
            continue;
        sqlite_statement names = query("select i.name from pragma_table_info(?1, ?2) i join " + schema +
                                           ".sqlite_master m on m.type = 'table' and m.name = ?1 order by i.cid",
                                       {QByteArray(known.name), schema});
        result_table table = {&known, {}};
        const QList<QByteArray> times = table.times();
        while (names.next())
            table.columns.append({names.text(0), times.contains(names.text(0)), !of_mail});
        if (!names.failure().isEmpty())
            return damaged(path, names.failure());
        if (table.columns.isEmpty())
            return bad_result(path + QLatin1StringView(": has no table \"") + QLatin1StringView(known.name) +
                              QLatin1StringView("\": not a result, or one of another version"));
        found_tables.append(table);
    }
    return {};
}

maybe_refusal result_reader::compare_columns() const
{
    sqlite_connection memory;
    memory.open(QStringLiteral(":memory:"), sqlite_connection::mode::read_write);
    for (const table_statement &each : result_schema()) {
        memory.execute(each.statement.toLatin1().constData());
        const result_table *found = table(each.table.toLatin1());
        sqlite_statement names(memory, "select name from pragma_table_info(?)", {each.table.toLatin1()});
        while (names.next()) {
            if (found->find(names.text(0)) < 0)
                return bad_result(
                    QStringLiteral("%1: result of another version (table \"%2\" has no column \"%3\"); use "
                                   "the gmail_host of that version")
                        .arg(rows.path, each.table, QString::fromLatin1(names.text(0))));
        }
    }
    return {};
}

maybe_refusal result_reader::damaged(const QString &path, const QString &words) const
{
    if (maybe_refusal other = changed())
        return other;
    return bad_result(path + QLatin1StringView(": reading stopped (") + words +
                      QLatin1StringView("); restore the file or repeat the run"));
}

const result_table *result_reader::table(const QByteArray &name) const
{
    for (const result_table &each : found_tables) {
        if (name == each.known->name)
            return &each;
    }
    return nullptr;
}

QJsonObject result_reader::run_record() const
{
    QFile file(place + QLatin1StringView("run.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray text;
    for (QByteArray line = file.readLine(); !line.isEmpty(); line = file.readLine()) {
        if (line.startsWith("    \"attachments\": [")) // the last key, and a line per attachment
            line = "    \"attachments\": []}";
        text += line;
        if (line.endsWith("[]}"))
            break;
    }
    return QJsonDocument::fromJson(text).object();
}

maybe_refusal result_reader::failure(const sqlite_statement &query) const
{
    return query.failure().isEmpty() ? maybe_refusal() : damaged(place, query.failure());
}

maybe_refusal result_reader::changed() const
{
    for (const opened_file *file : {&rows, &mail}) {
        if (!file->path.isEmpty() && !file->unchanged())
            return bad_result(file->path +
                              QLatin1StringView(": was changed while it was read; wait until the run or the "
                                                "suite is done, then try again"));
    }
    return {};
}
