#include "host/reading/mail_reader.h"

#include "host/reading/charsets.h"
#include "host/reading/html_text.h"
#include "host/reading/mail_date.h"
#include "host/reading/mail_structure.h"
#include "host/reading/transfer_encoding.h"

#include <QHash>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr qsizetype max_extension = 8;      // letters and digits
constexpr qsizetype max_meta_place = 2'048; // bytes of an HTML text in which its character set is looked for

// ---- The mbox around a mail -----------------------------------------------------------------------------------------

QByteArrayView without_envelope(QByteArrayView stored, bool is_followed)
{
    const qsizetype line_feed = stored.indexOf('\n');
    QByteArrayView mail = line_feed < 0 ? QByteArrayView() : stored.sliced(line_feed + 1);
    if (is_followed && (mail.endsWith("\n\r\n") || mail == "\r\n"))
        mail.chop(2);
    else if (is_followed && (mail.endsWith("\n\n") || mail == "\n"))
        mail.chop(1);
    return mail;
}

/// True for ">From ", ">>From " and so on.
bool is_quoted_from(QByteArrayView line)
{
    const auto from = std::find_if(line.begin(), line.end(), [](char c) { return c != '>'; });
    return from != line.begin() && QByteArrayView(from, line.end()).startsWith("From ");
}

/// Mail programs put ">" before lines of a mail that would look like a separator.
QByteArray unquoted(QByteArrayView mail)
{
    QByteArray result;
    result.reserve(mail.size());
    while (!mail.isEmpty()) {
        const qsizetype line_feed = mail.indexOf('\n');
        const QByteArrayView line = line_feed < 0 ? mail : mail.first(line_feed + 1);
        result += is_quoted_from(line) ? line.sliced(1) : line;
        mail = mail.sliced(line.size());
    }
    return result;
}

bool has_quoted_from(QByteArrayView mail)
{
    return !mail.isEmpty() && memmem(mail.data(), static_cast<std::size_t>(mail.size()), ">From ", 6) != nullptr;
}

/// Converts the parts' places in the mail as it was read to places in the stored bytes.
void place_parts(QByteArrayView stored, QByteArrayView mail, QList<mail_part> &parts)
{
    std::vector<qint64> unread; // places of bytes that were left out, in the mail as it was read
    for (qsizetype line = 0; has_quoted_from(mail) && line < mail.size();) {
        if (is_quoted_from(mail.sliced(line)))
            unread.push_back(line - static_cast<qsizetype>(unread.size()));
        const qsizetype line_feed = mail.indexOf('\n', line);
        line = line_feed < 0 ? mail.size() : line_feed + 1;
    }
    const qsizetype envelope = mail.isEmpty() ? stored.size() : mail.data() - stored.data();
    const auto place = [&unread, envelope](qint64 &position) {
        if (position >= 0)
            position += envelope + (std::lower_bound(unread.cbegin(), unread.cend(), position) - unread.cbegin());
    };
    for (mail_part &part : parts) {
        place(part.header_begin);
        place(part.content_begin);
        place(part.content_end);
    }
}

// ---- Pieces of a record ---------------------------------------------------------------------------------------------

QByteArray extension_of(const QByteArray &name)
{
    const qsizetype point = name.lastIndexOf('.');
    const QByteArray extension = point < 0 ? QByteArray() : name.sliced(point + 1).toLower();
    const bool plain = !extension.isEmpty() && extension.size() <= max_extension &&
                       std::all_of(extension.begin(), extension.end(),
                                   [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); });
    return plain ? '.' + extension : QByteArray();
}

/// The character set that an HTML text itself declares.
QByteArray charset_in_html(QByteArrayView html)
{
    const QByteArray begin = html.first(qMin(html.size(), max_meta_place)).toByteArray().toLower();
    qsizetype at = begin.indexOf("charset=");
    if (at < 0)
        return {};
    at += 8;
    while (at < begin.size() && (begin.at(at) == '"' || begin.at(at) == '\''))
        ++at;
    const auto end = std::find_if(begin.begin() + at, begin.end(), [](char c) {
        return !((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_');
    });
    return begin.sliced(at, end - begin.begin() - at);
}

/// Reads one mail; the steps share the members.
class reader
{
public:
    reader(const part_writer &writer, mail_record &into)
        : write_part(writer)
        , record(into)
    {
    }

    void read(QByteArrayView mail);

private:
    QByteArrayView whole_mail;
    void read_fields(const mail_entity &mail);
    void read_date(const QByteArray &text);
    void read_ids(const header_fields &fields);
    void read_part(const mail_entity &entity);
    void read_encoded_mail(const mail_entity &entity, QByteArrayView bytes);
    void add_problems(const QByteArrayList &sentences);
    void keep_bytes(const mail_entity &entity, const QByteArray &bytes, mail_part &part);
    bool take_text(const mail_entity &entity, const QByteArray &bytes, const mail_part &part);

    const part_writer &write_part;
    mail_record &record;
    QByteArray likely_charset;                 ///< of the mail's fields
    QHash<QByteArray, QByteArray> spool_files; ///< by content, so that equal parts are written once
};

void reader::read_date(const QByteArray &text)
{
    record.date_text = text;
    if (text.isEmpty())
        return;
    const std::optional<mail_date> date = parse_mail_date(text);
    if (!date) {
        add_problem(record.problems, "The date cannot be read.");
        return;
    }
    record.date = date->seconds;
    if (!date->has_zone)
        add_problem(record.problems, "The date has no known time zone; read as UTC.");
}

void reader::read_ids(const header_fields &fields)
{
    const auto first_id = [&](const char *name) { return message_ids(fields.first(name)).value(0); };
    record.message_id = first_id("message-id");
    record.in_reply_to = first_id("in-reply-to");
    record.thread_id = fields.first("x-gm-thrid");
    for (const QByteArray &value : fields.all("references")) {
        if (record.references.size() <= max_references)
            record.references += message_ids(value);
    }
    if (record.references.size() > max_references) {
        record.references.resize(max_references);
        add_problem(record.problems, "There are too many references; the first are kept.");
    }
}

void reader::read_fields(const mail_entity &mail)
{
    static constexpr std::array roles = {"from", "sender", "reply-to", "to", "cc", "bcc"};
    field_context context = {likely_charset, record.problems};
    if (mail.header.size() > max_header_bytes) {
        add_problem(record.problems, "The header is too long to be read.");
        return;
    }
    record.headers = to_utf8(mail.header, {}, likely_charset, "The header", record.problems);
    record.subject = decoded_text(mail.fields.first("subject"), "The subject", context);
    for (const char *role : roles)
        record.addresses += decoded_addresses(mail.fields.all(role), role, context);
    record.labels = split_labels(decoded_text(mail.fields.first("x-gmail-labels"), "A label", context));
    if (record.labels.size() > max_labels) {
        record.labels.resize(max_labels);
        add_problem(record.problems, "There are too many labels; the first are kept.");
    }
    read_ids(mail.fields);
    read_date(to_utf8(mail.fields.first("date"), {}, likely_charset, "The date", record.problems));
}

/// The first displayed plain text, and the first displayed HTML.
bool reader::take_text(const mail_entity &entity, const QByteArray &bytes, const mail_part &part)
{
    const bool is_html = part.media_type == "text/html";
    QByteArray &text = is_html ? record.html : record.text;
    if ((!is_html && part.media_type != "text/plain") || entity.embedded > 0 || part.disposition == "attachment" ||
        !text.isEmpty() || bytes.isEmpty())
        return false;
    if (bytes.size() > max_text_bytes) {
        add_problem(record.problems, "A text is too long for the database; it is kept as a file.");
        return false;
    }
    const QByteArray likely = is_html ? charset_in_html(bytes) : QByteArray();
    text = to_utf8(bytes, part.charset, likely, is_html ? "The HTML text" : "The text", record.problems);
    return !text.isEmpty();
}

void reader::keep_bytes(const mail_entity &entity, const QByteArray &bytes, mail_part &part)
{
    part.size = bytes.size();
    part.sha256 = sha256_of(bytes);
    part.is_text = take_text(entity, bytes, part);
    if (part.is_text)
        return;
    part.extension = extension_of(part.name);
    QByteArray &spooled = spool_files[part.sha256];
    part.spool_file = spooled;
    if (spooled.isEmpty())
        write_part(bytes, part);
    spooled = part.spool_file;
    if (part.spool_file.isEmpty() && !part.is_kept)
        add_problem(record.problems, "Part " + part.path + " could not be written.");
}

void reader::read_part(const mail_entity &entity)
{
    if (entity.what == mail_entity::kind::multipart)
        return;
    field_context context = {likely_charset, record.problems};
    const typed_value disposition = content_disposition(entity.fields.first("content-disposition"), context);
    if (disposition.has_too_many_parameters)
        add_problem(record.problems, "A Content-Disposition has too many parameters to be read.");
    mail_part part = {.path = entity.path,
                      .media_type = entity.type.type,
                      .charset = entity.type.charset,
                      .name = disposition.name.isEmpty() ? entity.type.name : disposition.name,
                      .disposition = disposition.type,
                      .content_id = message_ids(entity.fields.first("content-id")).value(0),
                      .encoding = entity.fields.first("content-transfer-encoding").toLower()};
    if (part.content_id.isEmpty())
        part.content_id = entity.fields.first("content-id");
    // Parts of an embedded mail that was encoded have no place of their own.
    const bool is_stored = entity.body.data() >= whole_mail.data() && entity.body.end() <= whole_mail.end();
    if (is_stored && !entity.header.isNull() && !entity.body.isNull()) {
        part.header_begin = entity.header.data() - whole_mail.data();
        part.content_begin = entity.body.data() - whole_mail.data();
        part.content_end = part.content_begin + entity.body.size();
    }
    const QByteArray what = "Part " + part.path;
    // The stored bytes of an embedded mail are its bytes.
    const QByteArray bytes = entity.what == mail_entity::kind::message
                                 ? entity.body.toByteArray()
                                 : decoded_transfer(entity.body, part.encoding, what, record.problems);
    keep_bytes(entity, bytes, part);
    record.parts.append(part);
    if (entity.what == mail_entity::kind::leaf && is_message_type(part.media_type))
        read_encoded_mail(entity, bytes);
}

void reader::add_problems(const QByteArrayList &sentences)
{
    for (const QByteArray &each : sentences)
        add_problem(record.problems, each);
}

/// Some programs encode embedded mails.
void reader::read_encoded_mail(const mail_entity &entity, QByteArrayView bytes)
{
    if (entity.embedded >= max_embedded_levels || record.parts.size() >= max_parts)
        return;
    const mail_structure structure = structure_of(bytes, entity.path, entity.embedded + 1);
    add_problems(structure.problems);
    for (const mail_entity &each : structure.entities)
        read_part(each);
}

void reader::read(QByteArrayView mail)
{
    whole_mail = mail;
    const mail_structure structure = structure_of(mail);
    add_problems(structure.problems);
    for (const mail_entity &each : structure.entities) {
        if (each.embedded == 0 && each.type.type.startsWith("text/") && !each.type.charset.isEmpty()) {
            likely_charset = each.type.charset;
            break;
        }
    }
    read_fields(structure.entities.front());
    for (const mail_entity &each : structure.entities)
        read_part(each);
    if (record.text.isEmpty() && !record.html.isEmpty())
        record.search_text = html_text(record.html);
}

} // namespace

QByteArray sha256_of(QByteArrayView bytes)
{
    QByteArray digest(EVP_MAX_MD_SIZE, Qt::Uninitialized);
    unsigned size = 0;
    EVP_Digest(bytes.data(), static_cast<std::size_t>(bytes.size()), reinterpret_cast<unsigned char *>(digest.data()),
               &size, EVP_sha256(), nullptr);
    digest.resize(static_cast<qsizetype>(size));
    return digest.toHex();
}

void read_plain_mail(QByteArrayView mail, const part_writer &write_part, mail_record &record)
{
    reader(write_part, record).read(mail);
}

mail_record read_mail(QByteArrayView stored, bool is_followed, const part_writer &write_part)
{
    mail_record record;
    record.sha256 = sha256_of(stored);
    const QByteArrayView mail = without_envelope(stored, is_followed);
    if (has_quoted_from(mail))
        read_plain_mail(unquoted(mail), write_part, record);
    else
        read_plain_mail(mail, write_part, record);
    place_parts(stored, mail, record.parts);
    return record;
}
