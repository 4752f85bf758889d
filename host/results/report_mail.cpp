#include "host/results/report_mail.h"

namespace {

std::optional<qint64> number_or_null(const sqlite_statement &rows, int column)
{
    return rows.is_null(column) ? std::nullopt : std::optional(rows.number(column));
}

/// Rows that belong to mails, in the order of the mails: read in step with them, each row once.
class belonging_rows
{
public:
    /// The query's first column is the mail's id, by which it is sorted.
    belonging_rows(const result_reader &reader, const QByteArray &query)
        : rows(reader.query(query))
        , more(rows.next())
    {
    }

    template <typename function>
    void of(qint64 mail, function take)
    {
        for (; more && rows.number(0) <= mail; more = rows.next()) {
            if (rows.number(0) == mail)
                take(rows);
        }
    }

    sqlite_statement rows;

private:
    bool more;
};

/// Rows of `messages` by their number. They are requested in nearly the order in which they are stored, so most of them
/// are found by reading on from the last one.
class message_rows
{
public:
    explicit message_rows(const result_reader &of)
        : reader(of)
        , rows(of.query("select * from main.messages order by INT"))
        , more(rows.next())
        , number_column(column_of_number())
    {
    }

    QList<report_mail::row_value> of(qint64 number)
    {
        for (int step = 0; more && current() < number && step < max_steps; ++step)
            more = rows.next();
        if (!more || current() != number) {
            rows = reader.query("select * from main.messages where INT >= ? order by INT", {number});
            more = rows.next();
        }
        return more && current() == number ? values() : QList<report_mail::row_value>();
    }

    [[nodiscard]] maybe_refusal failure() const { return reader.failure(rows); }

private:
    static constexpr int max_steps = 64;

    int column_of_number() const
    {
        for (int i = 0; i < rows.columns(); ++i) {
            if (rows.column_name(i) == "INT")
                return i;
        }
        return 0;
    }

    qint64 current() const { return rows.number(number_column); }

    QList<report_mail::row_value> values() const
    {
        QList<report_mail::row_value> result;
        for (int i = 0; i < rows.columns(); ++i) {
            const QByteArray value = rows.text(i);
            if (!value.isEmpty())
                result.append({rows.column_name(i), value});
        }
        return result;
    }

    const result_reader &reader;
    sqlite_statement rows;
    bool more;
    int number_column;
};

class mails_of_mail_database : public report_mails
{
public:
    explicit mails_of_mail_database(const result_reader &of)
        : reader(of)
        , mails(of.query(
              "select id, source_count_name, source_file, ordinal, offset, length, sha256, message_id, in_reply_to,"
              " thread_id, date, date_text, subject, text, html, headers, row, row_note, problems,"
              " (select h.text from mail_db.html_text h where h.mail = mail.id)"
              " from mail_db.mail order by id"))
        , addresses(of, "select mail, role, name, address from mail_db.address order by mail, position")
        , labels(of, "select mail, label from mail_db.label order by mail")
        , references(of, "select mail, message_id from mail_db.reference order by mail, position")
        , parts(of, "select mail, path, media_type, charset, name, disposition, content_id, encoding, size, sha256,"
                    " file, is_text from mail_db.part order by mail, rowid")
        , differences(of, "select mail, field, kind, explanation from mail_db.difference order by mail")
        , files(of, "select mail, file, kind, part_path from mail_db.attachment_file where mail is not null"
                    " order by mail")
        , messages(of)
    {
    }

    bool next(report_mail &mail) override
    {
        if (!mails.next())
            return false;
        mail = {};
        take_fields(mail);
        take_parts(mail);
        addresses.of(mail.id, [&mail](const sqlite_statement &row) {
            mail.addresses.append({row.text(1), row.text(2), row.text(3)});
        });
        labels.of(mail.id, [&mail](const sqlite_statement &row) { mail.labels.append(row.text(1)); });
        references.of(mail.id, [&mail](const sqlite_statement &row) { mail.references.append(row.text(1)); });
        differences.of(mail.id, [&mail](const sqlite_statement &row) {
            mail.differences.append({row.text(1), row.text(2), row.text(3)});
        });
        files.of(mail.id, [&mail](const sqlite_statement &row) {
            mail.files.append({row.text(1), row.text(2), row.text(3)});
        });
        if (mail.row)
            mail.row_values = messages.of(*mail.row);
        return true;
    }

    maybe_refusal failure() const override
    {
        for (const sqlite_statement *each :
             {&mails, &addresses.rows, &labels.rows, &references.rows, &parts.rows, &differences.rows, &files.rows}) {
            if (maybe_refusal refused = reader.failure(*each))
                return refused;
        }
        return messages.failure();
    }

private:
    void take_fields(report_mail &mail) const
    {
        mail.id = mails.number(0);
        mail.source_count_name = mails.text(1);
        mail.source_file = mails.text(2);
        mail.ordinal = number_or_null(mails, 3);
        mail.offset = number_or_null(mails, 4);
        mail.length = number_or_null(mails, 5);
        mail.sha256 = mails.text(6);
        mail.message_id = mails.text(7);
        mail.in_reply_to = mails.text(8);
        mail.thread_id = mails.text(9);
        mail.date = number_or_null(mails, 10);
        mail.date_text = mails.text(11);
        mail.subject = mails.text(12);
        mail.text = mails.text(13);
        mail.html = mails.text(14);
        mail.headers = mails.text(15);
        mail.row = number_or_null(mails, 16);
        mail.row_note = mails.text(17);
        mail.problems = mails.text(18);
        mail.html_text = mails.text(19);
    }

    void take_parts(report_mail &mail)
    {
        parts.of(mail.id, [&mail](const sqlite_statement &row) {
            report_mail::part part = {row.text(1), row.text(2), row.text(3), row.text(4), row.text(5),
                                      row.text(6), row.text(7), row.text(9), row.text(10)};
            part.size = number_or_null(row, 8).value_or(-1);
            part.is_text = row.number(11) != 0;
            mail.parts.append(part);
        });
    }

    const result_reader &reader;
    sqlite_statement mails;
    belonging_rows addresses, labels, references, parts, differences, files;
    message_rows messages;
};

/// The rows alone, of a result without `Mail.sqlite`.
class mails_of_rows : public report_mails
{
public:
    explicit mails_of_rows(const result_reader &of)
        : reader(of)
        , rows(of.query("select * from main.messages order by INT"))
    {
    }

    bool next(report_mail &mail) override
    {
        if (!rows.next())
            return false;
        mail = {};
        for (int i = 0; i < rows.columns(); ++i) {
            const QByteArray value = rows.text(i);
            if (!value.isEmpty())
                take(mail, rows.column_name(i), value);
        }
        return true;
    }

    maybe_refusal failure() const override { return reader.failure(rows); }

private:
    static void take(report_mail &mail, const QByteArray &column, const QByteArray &value)
    {
        mail.row_values.append({column, value});
        const bool is_date = column == "timestamp" || column == "date_sent" || column == "date_received";
        if (column == "INT")
            mail.row = mail.id = value.toLongLong();
        else if (is_date && value != "0" && !mail.date)
            mail.date = value.toLongLong(); // 0 is stored for a date that cannot be read
        else if (column == "subject")
            mail.subject = value;
        else if (column == "message_text" || (column == "snippet" && mail.text.isEmpty()))
            mail.text = value;
        else if (column == "mailbox")
            mail.labels.append(value);
        else if (column.endsWith("_list"))
            take_people(mail, column, value);
        else if (column == "export_file_paths")
            take_files(mail, value);
        else if (column == "source_file")
            mail.source_file = value;
        else if (column == "source_count_name")
            mail.source_count_name = value;
    }

    static void take_people(report_mail &mail, const QByteArray &column, const QByteArray &value)
    {
        const QByteArray role = column.chopped(5).replace('_', '-');
        for (const QByteArray &each : value.split(role == "from" ? '\0' : ',')) {
            const QByteArray person = each.trimmed();
            if (!person.isEmpty())
                mail.addresses.append(
                    {role, person.contains('@') ? QByteArray() : person, person.contains('@') ? person : QByteArray()});
        }
    }

    static void take_files(report_mail &mail, const QByteArray &value)
    {
        for (qsizetype begin = 0; begin <= value.size();) {
            constexpr QByteArrayView separator = ";++::++;";
            const qsizetype found = value.indexOf(separator, begin);
            const qsizetype end = found < 0 ? value.size() : found;
            const QByteArray file = value.sliced(begin, end - begin);
            if (!file.isEmpty()) {
                report_mail::part part;
                part.name = file.sliced(file.lastIndexOf('/') + 1);
                part.file = file;
                mail.parts.append(part);
            }
            begin = end + separator.size();
        }
    }

    const result_reader &reader;
    sqlite_statement rows;
};

} // namespace

std::unique_ptr<report_mails> report_mails::of(const result_reader &reader)
{
    if (reader.has_mail())
        return std::make_unique<mails_of_mail_database>(reader);
    return std::make_unique<mails_of_rows>(reader);
}
