/// The yardstick for `gmail_host read`: GMime parses each mail, and the same columns, hashes, search index and parts
/// are written, in one thread and one transaction.
///
///     floor_mail SOURCE RESULT_DIR
///
/// It knows only well-formed mail, as `generate` makes it, and has no limits.
#include "host/reading/gmime.h"
#include "host/reading/html_text.h"
#include "host/reading/mail_reader.h"
#include "host/sqlite.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <cstdio>

namespace {

QByteArray text_of(const char *text)
{
    return QByteArray(text);
}

constexpr char schema[] = R"(
CREATE TABLE mail (
    id INTEGER PRIMARY KEY, source_count_name TEXT, source_file TEXT, ordinal INTEGER, "offset" INTEGER,
    length INTEGER, sha256 TEXT, message_id TEXT, in_reply_to TEXT, thread_id TEXT, date INTEGER, date_text TEXT,
    subject TEXT, text TEXT, html TEXT, headers TEXT, row_table TEXT, "row" INTEGER, row_note TEXT, problems TEXT);
CREATE TABLE address (mail INTEGER REFERENCES mail (id), role TEXT, position INTEGER, name TEXT, address TEXT);
CREATE TABLE label (mail INTEGER REFERENCES mail (id), label TEXT);
CREATE TABLE part (
    mail INTEGER REFERENCES mail (id), path TEXT, media_type TEXT, charset TEXT, name TEXT, disposition TEXT,
    content_id TEXT, encoding TEXT, size INTEGER, sha256 TEXT, file TEXT, is_text INTEGER);
CREATE VIRTUAL TABLE mail_search USING fts5 (subject, addresses, text, names);
CREATE INDEX mail_date ON mail (date);
CREATE INDEX mail_message_id ON mail (message_id);
CREATE INDEX mail_thread_id ON mail (thread_id);
CREATE INDEX address_mail ON address (mail);
CREATE INDEX address_address ON address (address);
CREATE INDEX label_mail ON label (mail);
CREATE INDEX part_mail ON part (mail);
CREATE INDEX part_sha256 ON part (sha256);
)";

/// The database, written in the simplest way.
class plain_database
{
public:
    explicit plain_database(const QString &path)
    {
        file.open(path, sqlite_connection::mode::read_write);
        file.execute("BEGIN");
        file.execute(schema);
        mail.prepare(file, "INSERT INTO mail VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,NULL,NULL,NULL,NULL)");
        address.prepare(file, "INSERT INTO address VALUES (?,?,?,?,?)");
        label.prepare(file, "INSERT INTO label VALUES (?,?)");
        part.prepare(file, "INSERT INTO part VALUES (?,?,?,?,?,?,?,?,?,?,?,?)");
        search.prepare(file, "INSERT INTO mail_search (rowid, subject, addresses, text, names) VALUES (?,?,?,?,?)");
        known.prepare(file, "SELECT file FROM part WHERE sha256 = ? AND file IS NOT NULL LIMIT 1");
    }

    [[nodiscard]] QByteArray file_of(const QByteArray &sha256)
    {
        known.bind(sha256);
        const QByteArray found = known.next() ? known.text(0) : QByteArray();
        known.reset();
        return found;
    }

    void insert(const mail_record &record, const QByteArrayList &files);
    [[nodiscard]] bool finish() { return file.execute("COMMIT"); }

private:
    sqlite_connection file;
    sqlite_statement mail, address, label, part, search, known;
    qint64 last = 0;
};

void plain_database::insert(const mail_record &record, const QByteArrayList &files)
{
    const qint64 id = ++last;
    mail.bind(id).bind(record.source_count_name).bind(record.source_file).bind(record.ordinal).bind(record.offset);
    mail.bind(record.length).bind(record.sha256).bind(record.message_id).bind(record.in_reply_to);
    mail.bind(record.thread_id).bind(record.date).bind(record.date_text).bind(record.subject).bind(record.text);
    mail.bind(record.html).bind(record.headers).run();
    QByteArray addresses, names;
    for (const mail_address &each : record.addresses) {
        address.bind(id).bind(each.role).bind(qint64(each.position)).bind(each.name).bind(each.address).run();
        addresses += each.name + '\n' + each.address + '\n';
    }
    for (const QByteArray &each : record.labels)
        label.bind(id).bind(each).run();
    for (qsizetype i = 0; i < record.parts.size(); ++i) {
        const mail_part &each = record.parts.at(i);
        part.bind(id).bind(each.path).bind(each.media_type).bind(each.charset).bind(each.name).bind(each.disposition);
        part.bind(each.content_id).bind(each.encoding).bind(each.size).bind(each.sha256).bind(files.at(i));
        part.bind(qint64(each.is_text)).run();
        names += each.name + '\n';
    }
    search.bind(id).bind(record.subject).bind(addresses);
    search.bind(record.text.isEmpty() ? record.search_text : record.text).bind(names).run();
}

/// Everything of one mail, by GMime's own means.
class yardstick
{
public:
    yardstick(plain_database &into, const QString &directory)
        : database(into)
        , folder(directory)
    {
    }

    void store(QByteArrayView stored, const QByteArray &source_file, qint64 ordinal, qint64 offset);

private:
    void read_fields(GMimeMessage *message);
    void read_part(GMimeObject *object, const QByteArray &path);
    void read_addresses(InternetAddressList *list, const char *role);
    QByteArray write(const QByteArray &bytes, const mail_part &part);

    plain_database &database;
    QString folder;
    mail_record record;
    QByteArrayList files;
};

void yardstick::read_addresses(InternetAddressList *list, const char *role)
{
    for (int i = 0; list && i < internet_address_list_length(list); ++i) {
        InternetAddress *each = internet_address_list_get_address(list, i);
        if (INTERNET_ADDRESS_IS_MAILBOX(each))
            record.addresses.append({role, i + 1, text_of(internet_address_get_name(each)),
                                     text_of(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(each)))});
    }
}

void yardstick::read_fields(GMimeMessage *message)
{
    GMimeObject *object = GMIME_OBJECT(message);
    record.subject = text_of(g_mime_message_get_subject(message));
    record.message_id = text_of(g_mime_message_get_message_id(message));
    record.thread_id = text_of(g_mime_object_get_header(object, "X-GM-THRID"));
    record.date_text = text_of(g_mime_object_get_header(object, "Date"));
    if (GDateTime *date = g_mime_message_get_date(message))
        record.date = g_date_time_to_unix(date);
    if (char *labels = g_mime_utils_header_decode_text(
            lenient_options(), text_of(g_mime_object_get_header(object, "X-Gmail-Labels")).constData())) {
        record.labels = QByteArray(labels).split(',');
        g_free(labels);
    }
    read_addresses(g_mime_message_get_from(message), "from");
    read_addresses(g_mime_message_get_to(message), "to");
    read_addresses(g_mime_message_get_cc(message), "cc");
    char *headers = g_mime_object_get_headers(object, nullptr);
    record.headers = headers;
    g_free(headers);
}

QByteArray yardstick::write(const QByteArray &bytes, const mail_part &part)
{
    const QByteArray known = database.file_of(part.sha256);
    if (!known.isEmpty())
        return known;
    const QByteArray name = "Parts/" + part.sha256;
    QFile file(folder + QString::fromLatin1(name));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || file.write(bytes) != bytes.size())
        std::abort();
    return name;
}

void yardstick::read_part(GMimeObject *object, const QByteArray &path)
{
    if (GMIME_IS_MULTIPART(object)) {
        GMimeMultipart *multipart = GMIME_MULTIPART(object);
        for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i)
            read_part(g_mime_multipart_get_part(multipart, i),
                      QByteArray(path.isEmpty() ? path : path + '.') + QByteArray::number(i + 1));
        return;
    }
    if (!GMIME_IS_PART(object))
        return;
    GMimePart *leaf = GMIME_PART(object);
    const gmime_object<GMimeStream> stream(g_mime_stream_mem_new());
    g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(leaf), stream.get());
    const GByteArray *decoded = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
    const QByteArray bytes(reinterpret_cast<const char *>(decoded->data), decoded->len);
    GMimeContentType *type = g_mime_object_get_content_type(object);
    mail_part part = {.path = path.isEmpty() ? QByteArray("1") : path,
                      .media_type = QByteArray(g_mime_content_type_get_media_type(type)) + '/' +
                                    g_mime_content_type_get_media_subtype(type),
                      .charset = text_of(g_mime_content_type_get_parameter(type, "charset")),
                      .name = text_of(g_mime_part_get_filename(leaf)),
                      .disposition = text_of(g_mime_object_get_disposition(object)),
                      .content_id = text_of(g_mime_object_get_content_id(object)),
                      .size = bytes.size(),
                      .sha256 = sha256_of(bytes)};
    QByteArray &text = part.media_type == "text/html" ? record.html : record.text;
    if (part.media_type.startsWith("text/") && text.isEmpty()) {
        char *converted = g_mime_text_part_get_text(GMIME_TEXT_PART(object));
        text = converted;
        g_free(converted);
        part.is_text = true;
    }
    files.append(part.is_text ? QByteArray() : write(bytes, part));
    record.parts.append(part);
}

void yardstick::store(QByteArrayView stored, const QByteArray &source_file, qint64 ordinal, qint64 offset)
{
    record = {.source_count_name = "Source1",
              .source_file = source_file,
              .ordinal = ordinal,
              .offset = offset,
              .length = stored.size(),
              .sha256 = sha256_of(stored)};
    files.clear();
    const QByteArrayView mail = stored.sliced(stored.indexOf('\n') + 1);
    const gmime_object<GMimeStream> stream(
        g_mime_stream_mem_new_with_buffer(mail.data(), static_cast<std::size_t>(mail.size())));
    const gmime_object<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    const gmime_object<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), lenient_options()));
    read_fields(message.get());
    read_part(g_mime_message_get_mime_part(message.get()), {});
    if (record.text.isEmpty())
        record.search_text = html_text(record.html);
    database.insert(record, files);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3)
        return 2;
    static_cast<void>(lenient_options());
    const QString source = QString::fromLocal8Bit(argv[1]) + u'/', folder = QString::fromLocal8Bit(argv[2]) + u'/';
    QDir().mkpath(folder + QLatin1StringView("Parts"));
    plain_database database(folder + QLatin1StringView("Mail.sqlite"));
    yardstick writer(database, folder);
    for (QDirIterator entries(source + QLatin1StringView("Mail"), {QStringLiteral("*.mbox")}, QDir::Files,
                              QDirIterator::Subdirectories);
         entries.hasNext();) {
        QFile file(entries.next());
        if (!file.open(QIODevice::ReadOnly))
            return 1;
        const QByteArrayView bytes(reinterpret_cast<const char *>(file.map(0, file.size())), file.size());
        qint64 ordinal = 0;
        for (qsizetype begin = 0; begin < bytes.size();) {
            const qsizetype next = bytes.indexOf("\nFrom ", begin);
            const qsizetype end = next < 0 ? bytes.size() : next + 1;
            writer.store(bytes.sliced(begin, end - begin), '/' + file.fileName().sliced(source.size()).toUtf8(),
                         ++ordinal, begin);
            begin = end;
        }
    }
    return database.finish() ? 0 : 1;
}
