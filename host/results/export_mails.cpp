#include "host/results/export_mails.h"

#include "host/results/export_file.h"
#include "host/results/text_formats.h"

#include <QCryptographicHash>
#include <QDir>

namespace {

constexpr qint64 mails_per_folder = 1000;

QByteArray sha256_of(QByteArrayView bytes)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(bytes);
    return hash.result().toHex();
}

/// The files that may contain the mails of one file of the result: those at the same place in one of the sources.
class mail_source
{
public:
    mail_source(const QList<ready_source> &sources, const QByteArray &place)
    {
        for (const ready_source &source : sources) {
            for (const source_file &each : source.files) {
                if (QString(u'/' + each.place).toUtf8() == place)
                    paths.append(source.found.root + each.place);
            }
        }
    }

    [[nodiscard]] bool is_there() const { return !paths.isEmpty(); }

    /// The bytes with this hash at this place; empty when none of the files has them. The file that had the previous
    /// mail is tried first.
    [[nodiscard]] QByteArray cut(qint64 offset, qint64 length, const QByteArray &sha256)
    {
        for (qsizetype tried = 0; tried < paths.size(); ++tried) {
            const QByteArray bytes = cut_from(paths.at(current), offset, length);
            if (!bytes.isEmpty() && sha256_of(bytes) == sha256)
                return bytes;
            current = (current + 1) % paths.size();
        }
        return {};
    }

private:
    [[nodiscard]] QByteArray cut_from(const QString &path, qint64 offset, qint64 length)
    {
        if (file.fileName() != path) {
            file.close();
            file.setFileName(path);
        }
        if (!file.isOpen() && !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            return {};
        const bool is_inside = offset >= 0 && length > 0 && length <= file.size() && offset <= file.size() - length;
        return is_inside && file.seek(offset) ? file.read(length) : QByteArray();
    }

    QStringList paths;
    qsizetype current = 0;
    QFile file;
};

/// Writes the mails of a result one after the other, and the list of them.
class mail_export
{
public:
    mail_export(export_job &wanted, const QList<ready_source> &given)
        : job(wanted)
        , sources(given)
        , list(job.directory.path(QStringLiteral("mails.csv")), {{"id"},
                                                                 {"date", true},
                                                                 {"subject"},
                                                                 {"result"},
                                                                 {"file"},
                                                                 {"sha256_of_file"},
                                                                 {"sha256_in_source"},
                                                                 {"source_count_name"},
                                                                 {"source_file"},
                                                                 {"ordinal"},
                                                                 {"offset"},
                                                                 {"length"}})
    {
    }

    [[nodiscard]] maybe_refusal run();

private:
    [[nodiscard]] maybe_refusal export_mail(const sqlite_statement &mail, mail_source &source);
    [[nodiscard]] maybe_refusal write(const QString &name, QByteArrayView message);
    void add_to_list(const sqlite_statement &mail, const QByteArray &result, const QString &name,
                     const QByteArray &sha256);
    [[nodiscard]] maybe_refusal say_what_is_missing();

    export_job &job;
    const QList<ready_source> &sources;
    csv_file list;
    qint64 exported = 0, differing = 0, not_reached = 0, without_bytes = 0;
};

// Columns of the query over the mails.
enum column { id, date, subject, sha256, source_count_name, source_file_column, ordinal, offset, length };

maybe_refusal mail_export::run()
{
    sqlite_statement mails =
        job.reader.query("select id, date, subject, sha256, source_count_name, source_file, ordinal, "
                         "\"offset\", length from mail_db.mail order by id");
    QByteArray source_file;
    std::optional<mail_source> source;
    while (!list.has_failed() && mails.next()) {
        if (!job.go_on())
            return cancelled_export();
        if (!source || mails.text(source_file_column) != source_file) {
            source_file = mails.text(source_file_column);
            source.emplace(sources, source_file);
        }
        if (maybe_refusal refused = export_mail(mails, *source))
            return refused;
    }
    if (maybe_refusal failed = job.reader.failure(mails))
        return failed;
    if (maybe_refusal unwritten = list.close())
        return unwritten;
    return say_what_is_missing();
}

maybe_refusal mail_export::export_mail(const sqlite_statement &mail, mail_source &source)
{
    if (mail.at(offset).stored_as != cell::type::integer) {
        ++without_bytes;
        add_to_list(mail, "no bytes of its own", {}, {});
        return {};
    }
    if (!source.is_there()) {
        ++not_reached;
        add_to_list(mail, "file not in the source", {}, {});
        return {};
    }
    const QByteArray bytes = source.cut(mail.number(offset), mail.number(length), mail.text(sha256));
    if (bytes.isEmpty()) {
        ++differing;
        add_to_list(mail, "differs from the source", {}, {});
        return {};
    }
    ++exported;
    const qint64 number = mail.number(id);
    const QString name = QStringLiteral("mails/%1/%2.eml")
                             .arg(number / mails_per_folder, 4, 10, QChar(u'0'))
                             .arg(number, 7, 10, QChar(u'0'));
    const QByteArray message = message_of(bytes);
    add_to_list(mail, "exported", name, sha256_of(message));
    return write(name, message);
}

maybe_refusal mail_export::write(const QString &name, QByteArrayView message)
{
    const QString path = job.directory.path(name);
    QDir().mkpath(path.first(path.lastIndexOf(u'/')));
    export_file file(path);
    file.write(message);
    return file.close();
}

void mail_export::add_to_list(const sqlite_statement &mail, const QByteArray &result, const QString &name,
                              const QByteArray &sha256_of_file)
{
    const result_column plain;
    const auto copy = [&](column from) { list.add(mail.at(from), plain); };
    copy(id);
    list.add(mail.at(date), {"date", true});
    copy(subject);
    list.add(result);
    list.add(name.toUtf8());
    list.add(sha256_of_file);
    for (const column each : {sha256, source_count_name, source_file_column, ordinal, offset, length})
        copy(each);
    list.end_row();
}

maybe_refusal mail_export::say_what_is_missing()
{
    if (exported == 0 && differing + not_reached > 0)
        return refusal{
            exit_status::bad_source,
            QStringLiteral("the given --source has none of the mails of this result (%1 differ, %2 are in files "
                           "that it lacks); give the source that was read")
                .arg(differing)
                .arg(not_reached)};
    const auto say = [this](qint64 count, const char *what) {
        if (count > 0)
            job.failures.append(QStringLiteral("%1 mails were not exported: %2 (mails.csv lists them)")
                                    .arg(count)
                                    .arg(QLatin1StringView(what)));
    };
    say(differing, "their bytes in the source differ from those recorded");
    say(not_reached, "their file is not in the source");
    say(without_bytes, "an Android source does not contain whole messages");
    return {};
}

} // namespace

QByteArray message_of(QByteArrayView mail)
{
    mail = mail.sliced(mail.indexOf('\n') + 1);
    for (const char *empty_line : {"\r\n\r\n", "\n\n"}) {
        const QByteArrayView end(empty_line);
        if (mail.endsWith(end)) {
            mail.chop(end.size() / 2);
            break;
        }
    }
    QByteArray message;
    message.reserve(mail.size());
    while (!mail.isEmpty()) {
        const qsizetype line_feed = mail.indexOf('\n');
        QByteArrayView line = line_feed < 0 ? mail : mail.first(line_feed + 1);
        mail = mail.sliced(line.size());
        qsizetype quotes = 0;
        while (quotes < line.size() && line.at(quotes) == '>')
            ++quotes;
        if (quotes > 0 && line.sliced(quotes).startsWith("From "))
            line = line.sliced(1);
        message += line;
    }
    return message;
}

maybe_refusal export_eml(export_job &job, const QList<ready_source> &sources)
{
    job.about = {
        QStringLiteral(
            "mails/ has a file per mail, named by its id in Mail.sqlite. Its bytes are those of the source, "
            "without the \"From \" line and the empty line at the end that an mbox puts around a mail, and with "
            "lines that begin with \">From \" as they were before the mbox quoted them."),
        QStringLiteral(
            "Before that, the bytes in the source were compared with the SHA-256 that Mail.sqlite has of them; "
            "a mail that differs is not exported. mails.csv lists where each mail is in the source, "
            "with both hashes."),
    };
    mail_export all(job, sources);
    return all.run();
}
