#include "host/reading/mail_database.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace {

// Nothing is forced to the disk before the end: a killed process still leaves whole transactions, and anything that a
// power failure spoils can be read again.
constexpr char settings[] = "PRAGMA synchronous = OFF; PRAGMA cache_size = -12000;";

// The words of a transaction are gathered in memory, and merged with earlier ones as rarely as possible.
constexpr char search_settings[] = "INSERT INTO mail_search (mail_search, rank) VALUES ('hashsize', 16777216);"
                                   "INSERT INTO mail_search (mail_search, rank) VALUES ('automerge', 16);";

constexpr char page_size[] = "PRAGMA page_size = 32768;";

// Tables whose rows are looked up by mail are stored in that order and need no index for it. The search has an index of
// words only; the texts come from the tables. `html_text` is the text of mails that have only HTML.
constexpr char schema[] = R"(
CREATE TABLE meta (key TEXT PRIMARY KEY, value TEXT) WITHOUT ROWID;
CREATE TABLE mail (
    id INTEGER PRIMARY KEY, source_count_name TEXT, source_file TEXT, ordinal INTEGER, "offset" INTEGER,
    length INTEGER, sha256 TEXT, message_id TEXT, in_reply_to TEXT, thread_id TEXT, date INTEGER, date_text TEXT,
    subject TEXT, row_table TEXT, "row" INTEGER, row_note TEXT, problems TEXT, text TEXT, html TEXT, headers TEXT);
CREATE TABLE address (
    mail INTEGER NOT NULL REFERENCES mail (id), role TEXT NOT NULL, position INTEGER NOT NULL, name TEXT, address TEXT,
    PRIMARY KEY (mail, role, position)) WITHOUT ROWID;
CREATE TABLE label (
    mail INTEGER NOT NULL REFERENCES mail (id), label TEXT NOT NULL, PRIMARY KEY (mail, label)) WITHOUT ROWID;
CREATE TABLE reference (
    mail INTEGER NOT NULL REFERENCES mail (id), position INTEGER NOT NULL, message_id TEXT,
    PRIMARY KEY (mail, position)) WITHOUT ROWID;
CREATE TABLE part (
    mail INTEGER NOT NULL REFERENCES mail (id), path TEXT NOT NULL, media_type TEXT, charset TEXT, name TEXT,
    disposition TEXT, content_id TEXT, encoding TEXT, size INTEGER, sha256 TEXT, file TEXT, is_text INTEGER NOT NULL);
CREATE TABLE difference (
    mail INTEGER REFERENCES mail (id), "row" INTEGER, field TEXT, kind TEXT, explanation TEXT);
CREATE TABLE attachment_file (
    file TEXT, "row" INTEGER, mail INTEGER REFERENCES mail (id), kind TEXT, part_path TEXT);
CREATE TABLE html_text (mail INTEGER PRIMARY KEY REFERENCES mail (id), text TEXT);
CREATE VIEW mail_search_content (id, subject, addresses, text, names) AS SELECT
    id, subject,
    (SELECT group_concat(coalesce(name || char(10) || address, name, address), char(10))
     FROM address WHERE mail = mail.id),
    coalesce(text, (SELECT text FROM html_text WHERE mail = mail.id)),
    (SELECT group_concat(name, char(10)) FROM part WHERE mail = mail.id)
    FROM mail;
CREATE VIRTUAL TABLE mail_search USING fts5 (
    subject, addresses, text, names, content = 'mail_search_content', content_rowid = 'id');
CREATE INDEX mail_date ON mail (date);
CREATE INDEX mail_message_id ON mail (message_id);
CREATE INDEX mail_thread_id ON mail (thread_id);
CREATE INDEX mail_row ON mail ("row");
CREATE INDEX address_address ON address (address);
CREATE INDEX label_label ON label (label);
CREATE INDEX part_mail ON part (mail);
CREATE INDEX part_sha256 ON part (sha256);
CREATE INDEX difference_mail ON difference (mail);
CREATE INDEX attachment_file_mail ON attachment_file (mail);
CREATE INDEX attachment_file_file ON attachment_file (file);
)";

constexpr char row_separators[] = R"(
CREATE TEMP TABLE row_separator (
    source_file_number INTEGER NOT NULL, ordinal INTEGER NOT NULL, "offset" INTEGER NOT NULL, mail INTEGER NOT NULL,
    digest BLOB, expected_row BLOB, PRIMARY KEY (source_file_number, ordinal)) WITHOUT ROWID;
)";

/// Joins texts for the search.
void append_words(QByteArray &words, const QByteArray &more)
{
    if (!words.isEmpty() && !more.isEmpty())
        words += '\n';
    words += more;
}

qint64 number_from(sqlite_connection &file, const char *query)
{
    sqlite_statement statement;
    return statement.prepare(file, query) && statement.next() ? statement.number(0) : 0;
}

} // namespace

QByteArray row_note_until_compared(qint64 mail)
{
    constexpr int bits_of_sizes[] = {7, 15, 23, 31, 47}; // of SQLite's integers, without their sign
    constexpr int sizes[] = {1, 2, 3, 4, 6};             // bytes
    int size = 8;
    for (std::size_t i = std::size(sizes); i-- > 0;)
        size = mail >> bits_of_sizes[i] == 0 ? sizes[i] : size;
    return QByteArray("Unmatched").leftJustified(QByteArrayView("messages").size() + size, '.');
}

maybe_refusal mail_database::open(const QString &database_path)
{
    path = database_path;
    const auto refused = [this](const QString &why) {
        return refusal{exit_status::bad_result, path + QLatin1StringView(": ") + why};
    };
    const bool is_new = !QFileInfo::exists(path) || QFileInfo(path).size() == 0;
    if (!file.open(path, sqlite_connection::mode::read_write))
        return refused(file.failure());
    if (is_new)
        file.execute(page_size);
    file.execute(settings);
    file.execute("BEGIN");
    if (is_new) {
        file.execute(schema);
        file.execute(search_settings);
        file.execute(QByteArray("PRAGMA user_version = " + QByteArray::number(schema_version)).constData());
    } else if (number_from(file, "PRAGMA user_version") != schema_version ||
               number_from(file, "SELECT count(*) FROM sqlite_master WHERE name IN ('mail', 'mail_search', 'meta')") !=
                   3) {
        return refused(QStringLiteral("not a mail database of this version of the program; use --clear to replace it"));
    }
    file.execute(row_separators);
    commit(); // a full disk leaves a database without mails, not a file without tables
    prepare_statements();
    set_meta("program", "gmail_host " GMAIL_VERSION);
    id_of_first_mail = next_mail = number_from(file, "SELECT max(id) FROM mail") + 1;
    if (!failure().isEmpty())
        return refused(failure());
    return {};
}

void mail_database::prepare_statements()
{
    insert_mail.prepare(file,
                        "INSERT INTO mail (id, source_count_name, source_file, ordinal, \"offset\", length, sha256, "
                        "message_id, in_reply_to, thread_id, date, date_text, subject, row_table, \"row\", row_note, "
                        "problems, text, html, headers) VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
    insert_address.prepare(file, "INSERT INTO address VALUES (?,?,?,?,?)");
    insert_label.prepare(file, "INSERT OR IGNORE INTO label VALUES (?,?)");
    insert_reference.prepare(file, "INSERT INTO reference VALUES (?,?,?)");
    insert_part.prepare(file, "INSERT INTO part VALUES (?,?,?,?,?,?,?,?,?,?,?,?)");
    insert_text.prepare(file, "INSERT INTO mail_search (rowid, subject, addresses, text, names) VALUES (?,?,?,?,?)");
    insert_html_text.prepare(file, "INSERT INTO html_text VALUES (?,?)");
    insert_separator.prepare(file, "INSERT OR REPLACE INTO temp.row_separator VALUES (?,?,?,?,?,?)");
    insert_difference.prepare(file, "INSERT INTO difference VALUES (?,?,?,?,?)");
    insert_attachment.prepare(file, "INSERT INTO attachment_file VALUES (?,?,?,?,?)");
    update_row.prepare(file, "UPDATE mail SET row_table = ?, \"row\" = ?, row_note = ? WHERE id = ?");
    replace_meta.prepare(file, "INSERT OR REPLACE INTO meta VALUES (?,?)");
    find_file.prepare(file, "SELECT file FROM part WHERE sha256 = ? AND file IS NOT NULL LIMIT 1");
}

qint64 mail_database::insert(const mail_record &mail, const QByteArrayList &files, int source_file_number)
{
    const qint64 id = next_mail++;
    const QByteArray problems = mail.problems.join('\n');
    insert_mail.bind(id).bind(mail.source_count_name).bind(mail.source_file).bind(mail.ordinal);
    insert_mail.bind(mail.offset).bind(mail.length).bind(mail.sha256).bind(mail.message_id).bind(mail.in_reply_to);
    insert_mail.bind(mail.thread_id).bind(mail.date).bind(mail.date_text).bind(mail.subject).bind(mail.row_table);
    insert_mail.bind(mail.row).bind(mail.row_note).bind(problems).bind(mail.text).bind(mail.html).bind(mail.headers);
    insert_mail.run();
    for (const mail_address &each : mail.addresses)
        insert_address.bind(id).bind(each.role).bind(qint64(each.position)).bind(each.name).bind(each.address).run();
    for (const QByteArray &label : mail.labels)
        insert_label.bind(id).bind(label).run();
    qint64 position = 0;
    for (const QByteArray &reference : mail.references)
        insert_reference.bind(id).bind(++position).bind(reference).run();
    for (qsizetype i = 0; i < mail.separators.size(); ++i)
        insert_separator_of(id, source_file_number, mail.separators.at(i), mail.foreseen_rows.value(i));
    insert_parts(id, mail, files);
    insert_search(id, mail);
    return failure().isEmpty() ? id : 0;
}

void mail_database::insert_separator_of(qint64 id, int source_file_number, const row_separator &place,
                                        const foreseen_row &row)
{
    insert_separator.bind(qint64(source_file_number)).bind(place.ordinal).bind(place.offset).bind(id);
    insert_separator.bind(row.digest).bind(row.rest).run();
}

void mail_database::insert_separators(const QList<row_separator> &separators, int source_file_number)
{
    for (const row_separator &each : separators)
        insert_separator_of(0, source_file_number, each, {});
}

void mail_database::insert_parts(qint64 id, const mail_record &mail, const QByteArrayList &files)
{
    for (qsizetype i = 0; i < mail.parts.size(); ++i) {
        const mail_part &part = mail.parts.at(i);
        insert_part.bind(id).bind(part.path).bind(part.media_type).bind(part.charset).bind(part.name);
        insert_part.bind(part.disposition).bind(part.content_id).bind(part.encoding).bind(part.size);
        insert_part.bind(part.sha256).bind(files.value(i)).bind(qint64(part.is_text)).run();
    }
}

/// The words are those that `mail_search_content` has, in the same order.
void mail_database::insert_search(qint64 id, const mail_record &mail)
{
    QList<const mail_address *> by_role;
    for (const mail_address &each : mail.addresses)
        by_role.append(&each);
    std::stable_sort(by_role.begin(), by_role.end(),
                     [](const mail_address *one, const mail_address *other) { return one->role < other->role; });
    QByteArray addresses, names;
    for (const mail_address *each : std::as_const(by_role)) {
        append_words(addresses, each->name);
        append_words(addresses, each->address);
    }
    for (const mail_part &part : mail.parts)
        append_words(names, part.name);
    if (mail.text.isEmpty() && !mail.search_text.isEmpty())
        insert_html_text.bind(id).bind(mail.search_text).run();
    insert_text.bind(id).bind(mail.subject).bind(addresses);
    insert_text.bind(mail.text.isEmpty() ? mail.search_text : mail.text).bind(names).run();
}

QByteArray mail_database::file_of(const QByteArray &sha256)
{
    find_file.bind(sha256);
    const QByteArray found = find_file.next() ? find_file.text(0) : QByteArray();
    find_file.reset();
    return found;
}

void mail_database::set_row(qint64 mail, const QByteArray &row_table, std::optional<qint64> row,
                            const QByteArray &row_note)
{
    update_row.bind(row_table).bind(row).bind(row_note).bind(mail).run();
}

void mail_database::insert(const mail_difference &difference)
{
    insert_difference.bind(difference.mail).bind(difference.row).bind(difference.field).bind(difference.kind);
    insert_difference.bind(difference.explanation).run();
}

void mail_database::insert(const stored_attachment &attachment)
{
    insert_attachment.bind(attachment.file).bind(attachment.row).bind(attachment.mail).bind(attachment.kind);
    insert_attachment.bind(attachment.part_path).run();
}

void mail_database::set_meta(const QByteArray &key, const QByteArray &value)
{
    replace_meta.bind(key).bind(value).run();
}

void mail_database::commit()
{
    file.execute("COMMIT; BEGIN");
}

void mail_database::force_to_disk()
{
    QFile written(path);
    if (!failure().isEmpty() || (written.open(QIODevice::ReadWrite) && ::fsync(written.handle()) == 0))
        return;
    file.note_failure(QString::fromLocal8Bit(std::strerror(errno)));
}

void mail_database::close(bool safely)
{
    file.execute("COMMIT");
    for (sqlite_statement *statement : {&insert_mail, &insert_address, &insert_label, &insert_reference, &insert_part,
                                        &insert_text, &insert_html_text, &insert_separator, &insert_difference,
                                        &insert_attachment, &update_row, &replace_meta, &find_file})
        *statement = {};
    file.close();
    if (safely)
        force_to_disk();
}
