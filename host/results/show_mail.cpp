#include "host/results/aligned_table.h"
#include "host/results/show.h"
#include "host/results/time_text.h"
#include "host/terminal.h"

namespace {

QString text_at(const sqlite_statement &row, int column)
{
    return QString::fromUtf8(row.text(column));
}

/// Prints one mail piece by piece, and keeps the first failure.
class mail_view
{
public:
    mail_view(const result_reader &opened, qint64 mail, const show_layout &wanted)
        : reader(opened)
        , id(mail)
        , layout(wanted)
    {
    }

    void print_fields();
    void print_text();
    void print_row();
    void list(const QString &title, const QStringList &headings, const QByteArray &query)
    {
        if (!failed)
            failed = show_list(reader, layout, title, headings, query, {id});
    }

    maybe_refusal failed;

private:
    void field(const QString &name, const QString &value);
    void print_people();
    [[nodiscard]] QString joined(const QByteArray &query);

    const result_reader &reader;
    qint64 id;
    const show_layout &layout;
};

void mail_view::field(const QString &name, const QString &value)
{
    if (!value.isEmpty())
        print(QStringLiteral("%1 %2").arg(name, -12).arg(value));
}

/// The first column of all rows, with commas between them.
QString mail_view::joined(const QByteArray &query)
{
    sqlite_statement rows = reader.query(query, {id});
    QStringList texts;
    while (rows.next())
        texts.append(text_at(rows, 0));
    if (!failed)
        failed = reader.failure(rows);
    return texts.join(QLatin1StringView(", "));
}

void mail_view::print_people()
{
    for (const char *role : {"from", "sender", "reply-to", "to", "cc", "bcc"}) {
        QString name = QString::fromLatin1(role);
        name[0] = name.at(0).toUpper();
        field(name, joined(QByteArray("select case when name is null then address when address is null then name "
                                      "else name || ' <' || address || '>' end from mail_db.address where mail = ? and "
                                      "role = '") +
                           role + "' order by position"));
    }
}

void mail_view::print_fields()
{
    sqlite_statement mail =
        reader.query("select date, date_text, subject, message_id, in_reply_to, thread_id, source_count_name, "
                     "source_file, ordinal, offset, length, sha256, problems from mail_db.mail where id = ?",
                     {id});
    if (!mail.next()) {
        failed = reader.failure(mail);
        return;
    }
    const cell date = mail.at(0);
    field(QStringLiteral("Mail"), QString::number(id));
    field(QStringLiteral("Date"),
          date.stored_as == cell::type::integer ? utc_text_of(date.integer) : QStringLiteral("missing or unreadable"));
    field(QStringLiteral("as written"), text_at(mail, 1));
    print_people();
    field(QStringLiteral("Subject"), text_at(mail, 2));
    field(QStringLiteral("Labels"), joined("select label from mail_db.label where mail = ?"));
    field(QStringLiteral("Message-ID"), text_at(mail, 3));
    field(QStringLiteral("In-Reply-To"), text_at(mail, 4));
    field(QStringLiteral("References"),
          joined("select message_id from mail_db.reference where mail = ? order by position"));
    field(QStringLiteral("Thread"), text_at(mail, 5));
    QString place = text_at(mail, 6) + u' ' + text_at(mail, 7) + QStringLiteral(", mail %1").arg(mail.number(8));
    if (mail.at(9).stored_as == cell::type::integer)
        place += QStringLiteral(", %1 bytes at offset %2").arg(mail.number(10)).arg(mail.number(9));
    field(QStringLiteral("Source"), place);
    field(QStringLiteral("SHA-256"), text_at(mail, 11));
    QString heading = QStringLiteral("Problems");
    for (const QString &problem : text_at(mail, 12).split(u'\n', Qt::SkipEmptyParts)) {
        field(heading, problem);
        heading.clear();
    }
}

/// The text; for a mail with only HTML, the HTML's text as the search has it.
void mail_view::print_text()
{
    sqlite_statement mail =
        reader.query("select text, (select s.text from mail_db.mail_search s where s.rowid = mail.id), "
                     "html is not null from mail_db.mail where id = ?",
                     {id});
    if (!mail.next()) {
        failed = reader.failure(mail);
        return;
    }
    const bool has_text = !mail.is_null(0);
    if (!has_text && mail.number(2) == 0) {
        print_title(QStringLiteral("Text: none"));
        return;
    }
    print_title(has_text ? QStringLiteral("Text")
                         : QStringLiteral(
                               "Text of the HTML (show RESULT_DIR mail --where id=%1 --columns html shows all of it)")
                               .arg(id));
    const QString text = text_at(mail, has_text ? 0 : 1);
    for (const QStringView line : QStringView(text).split(u'\n'))
        print(QLatin1StringView("  ") + (line.endsWith(u'\r') ? line.chopped(1) : line).toString());
}

/// The row without its empty columns, most of which a run never fills.
void mail_view::print_row()
{
    sqlite_statement mail = reader.query("select row_table, row, row_note from mail_db.mail where id = ?", {id});
    if (!mail.next()) {
        failed = reader.failure(mail);
        return;
    }
    const result_table *table = reader.table(mail.text(0));
    if (mail.is_null(1) || !table) {
        print_title(QLatin1StringView("Row: none") +
                    (mail.text(2).isEmpty() ? QString() : QString(QLatin1StringView(" (") + text_at(mail, 2) + u')')));
        return;
    }
    sqlite_statement row = reader.query("select * from " + table->sql_name() + " where INT = ?", {mail.number(1)});
    if (row.next()) {
        print_title(QStringLiteral("Row %1 of %2").arg(mail.number(1)).arg(text_at(mail, 0)));
        aligned_table lines({QStringLiteral("column"), QStringLiteral("value")}, layout.width, true);
        for (int i = 0; i < row.columns(); ++i) {
            const QString value = shown_text(row.at(i), table->columns.at(i));
            if (!value.isEmpty())
                lines.add({QString::fromUtf8(table->columns.at(i).name), value});
        }
        lines.finish();
    }
    failed = reader.failure(row);
}

maybe_refusal find_mail(const result_reader &reader, const QString &id, qint64 &found)
{
    bool is_number = false;
    found = id.toLongLong(&is_number);
    sqlite_statement mail =
        reader.query("select count(*), (select max(id) from mail_db.mail) from mail_db.mail where id = ?", {found});
    if (!mail.next())
        return reader.failure(mail);
    if (is_number && mail.number(0) == 1)
        return {};
    return refusal{exit_status::wrong_usage,
                   QStringLiteral("there is no mail \"%1\"; ids go up to %2").arg(id).arg(mail.number(1))};
}

} // namespace

maybe_refusal show_mail(const result_reader &reader, const QString &id, const show_layout &layout)
{
    if (!reader.has_mail())
        return reader.mail_problem();
    qint64 found = 0;
    if (maybe_refusal refused = find_mail(reader, id, found))
        return refused;
    mail_view view(reader, found, layout);
    view.print_fields();
    view.print_text();
    view.list(
        QStringLiteral("Parts"),
        {QStringLiteral("path"), QStringLiteral("type"), QStringLiteral("size"), QStringLiteral("name"),
         QStringLiteral("file")},
        "select path, media_type, size, name, coalesce(file, case when is_text then '(text)' end) from mail_db.part "
        "where mail = ? order by rowid");
    view.print_row();
    view.list(QStringLiteral("Differences between the mail and its row"),
              {QStringLiteral("field"), QStringLiteral("kind"), QStringLiteral("explanation")},
              "select field, kind, explanation from mail_db.difference where mail = ? order by rowid");
    view.list(QStringLiteral("Stored attachment files"),
              {QStringLiteral("kind"), QStringLiteral("part"), QStringLiteral("file")},
              "select kind, part_path, file from mail_db.attachment_file where mail = ? order by rowid");
    if (view.failed)
        return view.failed;
    return reader.changed();
}
