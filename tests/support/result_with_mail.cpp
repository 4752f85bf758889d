#include "tests/support/result_with_mail.h"

#include "host/reading/mail_database.h"
#include "plugin/result_schema.h"
#include "tests/support/support.h"

#include <QCryptographicHash>

using namespace Qt::StringLiterals;

namespace {

constexpr const char *mails[] = {
    ("From 1@xxx Mon Jan 08 08:30:00 +0000 2024\r\nFrom: Anna Berg <anna@example.org>\r\nSubject: First\r\n"
     "\r\nHello Bert,\r\n>From here on it is quoted.\r\n\r\n"),
    "From 2@xxx Tue Jan 09 08:30:00 +0000 2024\r\nSubject: \x1b[31mred\r\n\r\n=1+1\r\n\r\n",
    "From 3@xxx Wed Jan 10 08:30:00 +0000 2024\r\nSubject: Last\r\n\r\nOnly in the mail.\r\n",
};

void fill_rows(const QString &database)
{
    QStringList statements;
    for (const table_statement &each : result_schema())
        statements.append(each.statement);
    const QString insert =
        u"insert into messages (bookmark, INT, timestamp, subject, from_list, to_list, message_text, "
        "source_count_name, source_file, account_id, date_sent) values (0, "_s;
    statements += {
        insert +
            u"1, '1704702600', 'First', 'Anna Berg', 'Bert', 'Hello Bert,', 'Source1', '/Mail/All.mbox', 'me', NULL)"_s,
        insert + u"2, '0', char(27) || '[31mred', '=HYPERLINK(\"x\")', '', 'two' || char(10) || 'lines, \"quoted\"', "
                 "'Source1', '/Mail/All.mbox', 'me', NULL)"_s,
        insert + u"3, NULL, 'Ünïcode 日本', 'ÄNNE', NULL, NULL, 'Source2', '/db/m.db', 'b@x', '1704789000')"_s,
        u"insert into cookies (INT, name, value, creation_time) values (1, 'sid', '-1', '1704702600')"_s,
        u"insert into accounts (INT, email_address, display_name) values (1, 'b@x', '')"_s,
    };
    if (!run_sql(database, statements))
        qFatal("cannot write %s", qPrintable(database));
}

mail_record first_mail()
{
    mail_record mail;
    mail.date = 1704702600;
    mail.date_text = "Mon, 8 Jan 2024 08:30:00 +0000";
    mail.subject = "First";
    mail.text = "Hello Bert,\nFrom here on it is quoted.\n";
    mail.row_table = "messages";
    mail.row = 1;
    mail.addresses = {{"from", 1, "Anna Berg", "anna@example.org"}, {"to", 1, {}, "bert@example.org"}};
    mail.labels = {"Inbox", "Wörk"};
    mail.references = {"a@b"};
    mail.parts = {{"1", "text/plain", "utf-8", {}, {}, {}, "7bit", 39, {}, {}, {}, true}};
    return mail;
}

mail_record second_mail()
{
    mail_record mail;
    // NOLINTNEXTLINE(misc-misleading-bidirectional)
    mail.subject = "\x1b[31mred\xe2\x80\xae";
    mail.text = "=1+1\x07\n";
    mail.row_table = "messages";
    mail.row = 2;
    mail.addresses = {{"from", 1, "@evil", "carl@example.org"}};
    mail.labels = {"Inbox"};
    return mail;
}

mail_record third_mail()
{
    mail_record mail;
    mail.date = 1704875400;
    mail.subject = "Last";
    mail.html = "<p>Only in the <b>mail</b>.</p>";
    mail.search_text = "Only in the mail.";
    mail.row_note = "the last mail of a file has no row";
    mail.addresses = {{"from", 1, "Anna Berg", "anna@example.org"}};
    return mail;
}

} // namespace

QByteArray mail_in_mbox(int number)
{
    return mails[number - 1];
}

void make_result_with_mail(const QString &directory)
{
    const QString result = directory + u"/result/Artifacts_Result/Gmail/"_s;
    fill_rows(result + u"Gmail.sqlite"_s);
    mail_database database;
    if (database.open(result + u"Mail.sqlite"_s))
        qFatal("cannot write Mail.sqlite");
    QByteArray mbox;
    for (int number = 1; mail_record mail : {first_mail(), second_mail(), third_mail()}) {
        const QByteArray bytes = mail_in_mbox(number);
        mail.source_count_name = "Source1";
        mail.source_file = "/Mail/All.mbox";
        mail.ordinal = number++;
        mail.offset = mbox.size();
        mail.length = bytes.size();
        mail.sha256 = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
        database.insert(mail, QByteArrayList(mail.parts.size()), 1);
        mbox += bytes;
    }
    database.insert(mail_difference{2, 2, "subject", "other", "the first line that begins so was taken"});
    database.insert(mail_difference{3, {}, "row", "missing", "the last mail of a file has no row"});
    database.close(false);
    write_file(directory + u"/source/Takeout/Mail/All.mbox"_s, mbox);
}
