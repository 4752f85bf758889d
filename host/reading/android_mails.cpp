#include "host/reading/android_mails.h"

#include "host/reading/charsets.h"
#include "host/reading/expected_rows.h"
#include "host/reading/html_text.h"
#include "host/reading/mail_fields.h"
#include "host/source_kinds.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {

constexpr qint64 milliseconds_per_second = 1000;
constexpr qint64 max_cached_file = qint64(64) * 1024 * 1024; ///< bytes

constexpr char gathered_tables[] =
    "CREATE TABLE attachment (mail TEXT, position INTEGER, id TEXT, name TEXT, type TEXT, size INTEGER, content_id "
    "TEXT, "
    "PRIMARY KEY (mail, position)) WITHOUT ROWID;"
    "CREATE TABLE label_name (id TEXT PRIMARY KEY, name TEXT) WITHOUT ROWID;"
    "CREATE TABLE label (mail TEXT, position INTEGER, label TEXT, PRIMARY KEY (mail, position)) WITHOUT ROWID;";

/// Columns of the queries below.
enum provider_column {
    provider_id,
    provider_time,
    provider_subject,
    provider_message_id,
    provider_from,
    provider_to,
    provider_cc,
    provider_bcc,
    provider_reply_to
};
enum store_column {
    store_subject,
    store_message_id,
    store_from,
    store_to,
    store_cc,
    store_bcc,
    store_reply_to,
    store_sent,
    store_received,
    store_conversation,
    store_body,
    store_compressed
};

/// Milliseconds as text, converted to seconds as the extraction does it; none for an empty text.
std::optional<qint64> seconds_of(const QByteArray &milliseconds)
{
    const QByteArray text = milliseconds.trimmed();
    if (text.isEmpty())
        return {};
    return text.toLongLong() / milliseconds_per_second;
}

void set_date(const QByteArray &milliseconds, mail_record &mail)
{
    mail.date_text = milliseconds;
    if (is_whole_number(milliseconds))
        mail.date = seconds_of(milliseconds);
    else if (!milliseconds.trimmed().isEmpty())
        mail.problems.append("The date is not a number of milliseconds.");
}

/// The application joins recipients with the characters 1 (between them) and 2 (between address and name).
QByteArray as_header_field(const QByteArray &stored)
{
    if (!stored.contains('\1') && !stored.contains('\2'))
        return stored;
    QByteArrayList recipients;
    for (const QByteArray &each : stored.split('\1')) {
        const qsizetype mark = each.indexOf('\2');
        if (mark < 0)
            recipients.append(each);
        else
            recipients.append('"' + each.sliced(mark + 1).replace('\\', "\\\\").replace('"', "\\\"") + "\" <" +
                              each.first(mark) + '>');
    }
    return recipients.join(", ");
}

void add_addresses(const QByteArray &stored, const QByteArray &role, mail_record &mail)
{
    if (stored.isEmpty())
        return;
    field_context context = {{}, mail.problems};
    mail.addresses.append(decoded_addresses({as_header_field(stored)}, role, context));
}

QByteArray extension_of(const QByteArray &name)
{
    constexpr qsizetype max_extension = 8;
    const qsizetype point = name.lastIndexOf('.');
    const QByteArray extension = point < 0 ? QByteArray() : name.sliced(point + 1).toLower();
    const bool is_plain = !extension.isEmpty() && extension.size() <= max_extension &&
                          std::all_of(extension.cbegin(), extension.cend(), [](char letter) {
                              return (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9');
                          });
    return is_plain ? '.' + extension : QByteArray();
}

} // namespace

android_mails::android_mails(QString root, QString place, QString scratch)
    : source_root(std::move(root))
    , database_place(std::move(place))
    , folder(std::move(scratch))
    , is_provider(database_place == provider_place)
{
}

QStringList android_mails::places_in(const QString &root)
{
    QStringList places;
    QDirIterator entries(root + database_folder, QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        const QString name = entries.fileName();
        if (name.startsWith(QLatin1StringView("mailstore.")) && name.endsWith(QLatin1StringView(".db")))
            places.append(path.sliced(root.size()));
    }
    places.sort();
    if (QFileInfo::exists(root + provider_place))
        places.prepend(provider_place);
    return places;
}

QString android_mails::failure() const
{
    const QString why = database.failure().isEmpty() ? gathered.failure() : database.failure();
    return why.isEmpty() ? QString() : u'/' + database_place + QLatin1StringView(": mail could not be read: ") + why;
}

bool android_mails::open()
{
    const QString gathered_path = folder + QLatin1StringView("gathered.db");
    QFile::remove(gathered_path);
    return database.open(source_root + database_place, folder) &&
           gathered.open(gathered_path, sqlite_connection::mode::read_write) &&
           gathered.execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; BEGIN;") &&
           gathered.execute(gathered_tables) && (is_provider ? open_provider() : open_store()) && failure().isEmpty();
}

bool android_mails::open_provider()
{
    bodies.emplace(source_root);
    gather("INSERT INTO attachment VALUES (?, ?, ?, ?, ?, ?, ?)", "Attachment",
           {"messageKey", "_id", "fileName", "mimeType", "size", "contentId"});
    return database.read(
        rows, "Message",
        {"_id", "timeStamp", "subject", "messageId", "fromList", "toList", "ccList", "bccList", "replyToList"});
}

bool android_mails::open_store()
{
    gather("INSERT INTO attachment VALUES (?, ?, ?, ?, ?, ?, NULL)", "attachments",
           {"messages_messageId", "_id", "filename", "mimeType", "size"});
    gather_labels();
    return database.read(rows, "messages",
                         {"subject", "messageId", "fromAddress", "toAddresses", "ccAddresses", "bccAddresses",
                          "replyToAddresses", "dateSentMs", "dateReceivedMs", "conversation", "body",
                          "bodyCompressed"});
}

/// Rows of a table that belong to mails: the key of the mail, the position, and the other columns.
bool android_mails::gather(const char *into, const QByteArray &table, const QByteArrayList &columns)
{
    sqlite_statement from, insert;
    if (!insert.prepare(gathered, into) || !database.read(from, table, columns))
        return false;
    for (qint64 position = 1; from.next(); ++position) {
        QByteArrayList values;
        for (int i = 0; i < columns.size(); ++i)
            values.append(from.text(i));
        insert.bind(values.first()).bind(position);
        for (const QByteArray &value : values.sliced(1))
            insert.bind(value);
        insert.run();
    }
    attachments_of.prepare(gathered,
                           "SELECT id, name, type, size, content_id FROM attachment WHERE mail = ? ORDER BY position");
    return true;
}

void android_mails::gather_labels()
{
    sqlite_statement from, insert;
    insert.prepare(gathered, "INSERT OR IGNORE INTO label_name VALUES (?, ?)");
    if (database.read(from, "labels", {"_id", "name", "canonicalName"})) {
        while (from.next()) {
            const QByteArray id = from.text(0), name = from.text(1), canonical_name = from.text(2);
            insert.bind(id).bind(name.isEmpty() ? canonical_name : name).run();
        }
    }
    insert.prepare(gathered, "INSERT INTO label SELECT ?1, ?2, name FROM label_name WHERE id = ?3");
    if (database.read(from, "message_labels", {"message_messageId", "labels_id"})) {
        for (qint64 position = 1; from.next(); ++position) {
            const QByteArray mail = from.text(0), label = from.text(1);
            insert.bind(mail).bind(position).bind(label).run();
        }
    }
    labels_of.prepare(gathered, "SELECT label FROM label WHERE mail = ? ORDER BY position");
}

bool android_mails::next(mail_record &mail, const part_writer &write_part)
{
    if (!rows.next())
        return false;
    mail = {};
    if (is_provider)
        read_provider_mail(mail, write_part);
    else
        read_store_mail(mail, write_part);
    if (mail.text.isEmpty() && !mail.html.isEmpty())
        mail.search_text = html_text(mail.html);
    return true;
}

void android_mails::read_provider_mail(mail_record &mail, const part_writer &write_part)
{
    const QByteArray id = rows.text(provider_id);
    mail.subject = rows.text(provider_subject);
    const QByteArray stored_id = rows.text(provider_message_id);
    mail.message_id = message_ids(stored_id).value(0, stored_id);
    set_date(rows.text(provider_time), mail);
    add_addresses(rows.text(provider_from), "from", mail);
    add_addresses(rows.text(provider_to), "to", mail);
    add_addresses(rows.text(provider_cc), "cc", mail);
    add_addresses(rows.text(provider_bcc), "bcc", mail);
    add_addresses(rows.text(provider_reply_to), "reply-to", mail);
    QByteArrayList listed; // parts of the files that the row lists: the attachments, then the body
    const std::optional<QByteArray> body = bodies ? bodies->body_of(id) : std::nullopt;
    if (body)
        set_body(*body, mail);
    read_attachments(id, mail, listed, write_part);
    if (body)
        listed.append("1");
    const std::optional<qint64> seconds = seconds_of(rows.text(provider_time));
    foresee({mail.subject,
             rows.text(provider_from),
             rows.text(provider_to),
             rows.text(provider_cc),
             seconds ? QByteArray::number(*seconds) : QByteArray(),
             {}},
            listed, {}, mail);
}

void android_mails::read_store_mail(mail_record &mail, const part_writer &write_part)
{
    mail.subject = rows.text(store_subject);
    mail.message_id = rows.text(store_message_id);
    mail.thread_id = rows.text(store_conversation);
    const QByteArray sent = rows.text(store_sent);
    set_date(sent.trimmed().isEmpty() ? rows.text(store_received) : sent, mail);
    add_addresses(rows.text(store_from), "from", mail);
    add_addresses(rows.text(store_to), "to", mail);
    add_addresses(rows.text(store_cc), "cc", mail);
    add_addresses(rows.text(store_bcc), "bcc", mail);
    add_addresses(rows.text(store_reply_to), "reply-to", mail);
    const QByteArray body = rows.text(store_body);
    set_body(body.isEmpty() ? inflated_body(rows.bytes(store_compressed), mail.problems) : body, mail);
    if (labels_of.is_ready()) {
        labels_of.bind(mail.message_id);
        while (labels_of.next())
            mail.labels.append(labels_of.text(0));
    }
    QByteArrayList listed;
    read_attachments(mail.message_id, mail, listed, write_part);
    QList<row_difference> differences;
    if (!mail.text.isEmpty() || !mail.html.isEmpty())
        differences.append({"message_text", "missing",
                            body.isEmpty() ? "The compressed body of a mail store is not "
                                             "decompressed."
                                           : "The body of a mail store is not read."});
    foresee({mail.subject, rows.text(store_from), rows.text(store_to), rows.text(store_cc), {}, {}}, {}, differences,
            mail);
}

/// A body becomes the first part of its mail; one without any tag is plain text.
void android_mails::set_body(const QByteArray &body, mail_record &mail) const
{
    if (body.isEmpty())
        return;
    const bool is_html = body.contains('<') && body.contains('>');
    const QByteArray text = to_utf8(body, {}, {}, "The body", mail.problems);
    (is_html ? mail.html : mail.text) = text;
    mail.parts.append({.path = "1",
                       .media_type = is_html ? "text/html" : "text/plain",
                       .size = body.size(),
                       .sha256 = sha256_of(body),
                       .is_text = true});
}

/// Attachments in the provider database are cached under their id; of those in a mail store only the names are known.
void android_mails::read_attachments(const QByteArray &key, mail_record &mail, QByteArrayList &listed,
                                     const part_writer &write_part)
{
    if (key.isEmpty() || !attachments_of.is_ready())
        return;
    attachments_of.bind(key);
    while (attachments_of.next()) {
        mail_part part = {.path = QByteArray::number(mail.parts.size() + 1),
                          .media_type = attachments_of.text(2).toLower(),
                          .name = attachments_of.text(1),
                          .disposition = "attachment",
                          .content_id = attachments_of.text(4)};
        part.size = attachments_of.number(3);
        const QByteArray id = attachments_of.text(0);
        const QString cached = source_root + cached_attachments_place + QString::fromUtf8(id);
        if (is_provider && is_whole_number(id) && QFileInfo(cached).isFile()) {
            const QByteArray bytes = bytes_of_file(cached, max_cached_file);
            part.size = bytes.size();
            part.sha256 = sha256_of(bytes);
            part.extension = extension_of(part.name);
            write_part(bytes, part);
        }
        listed.append(part.path);
        mail.parts.append(part);
    }
}

void android_mails::foresee(const row_values &values, const QByteArrayList &listed,
                            const QList<row_difference> &differences, mail_record &mail) const
{
    mail.foreseen_rows = {{digest_of(values, 0), packed(expected_row{differences, listed})}};
}
