/// Mails of the provider database and of the accounts' mail stores.
#include "common/cancel_flag.h"
#include "extractors/android/body_files.h"
#include "extractors/android/extract_step.h"
#include "extractors/android/look_up.h"
#include "extractors/android/step_runner.h"
#include "extractors/rows/texts.h"

#include <QHash>

namespace {

/// The attachments' paths, then the body file's, with the joiner only between them.
QString export_paths(const row_context &row, const QVariant &)
{
    QString paths = row.attachment_exports + row.body_file;
    if (paths.endsWith(record_joiner))
        paths.chop(record_joiner.size());
    if (paths.startsWith(record_joiner))
        paths.remove(0, record_joiner.size());
    return never_null(paths);
}

constexpr column mail_columns[] = {
    columns::text("displayName"),
    columns::seconds("timeStamp"),
    columns::text("subject"),
    columns::text("snippet"),
    columns::yes_no("flagAttachment"),
    columns::from_context<&row_context::attachment_description>(),
    columns::from_context<&row_context::mailbox>(),
    columns::from_context<&row_context::body_file>(),
    columns::yes_no("flagSeen"),
    columns::text("fromList"),
    columns::text("toList"),
    columns::text("ccList"),
    columns::text("bccList"),
    columns::text("replyToList"),
    columns::account,
    columns::from_context<&row_context::attachment_preview>(),
    {export_paths},
    columns::source_file,
    columns::os_scheme_display,
    columns::source_count_name,
};

constexpr column store_mail_columns[] = {
    columns::text("subject"),
    columns::text("snippet"),
    columns::seconds("dateSentMs"),
    columns::seconds("dateReceivedMs"),
    columns::account,
    columns::text("fromAddress"),
    columns::text("toAddresses"),
    columns::text("ccAddresses"),
    columns::text("bccAddresses"),
    columns::text("replyToAddresses"),
    columns::text("permalink"),
    columns::source_file,
    columns::os_scheme_display,
    columns::source_count_name,
};

std::unique_ptr<row_look_ups> make_mail_look_ups(const source_database &source, step_runner &runner);

} // namespace

constexpr extract_step mail_step(
    "Select _id, displayName,timeStamp,subject,flagAttachment,messageId, mailboxKey,fromList, "
    "toList,ccList,bccList,replyToList,snippet,flagSeen from Message",
    "insert into messages(bookmark,display_name,timestamp,subject,snippet,has_attachment,email_attachments, "
    "mailbox,snippet_file,seen,from_list,to_list,cc_list,bcc_list, reply_to_list,account_id, preview_file_path , "
    "export_file_paths,source_file,os_scheme_display, source_count_name) values(0,?,?,?,?,  ?,?,?,?,?,  ?,?,?,?,?,  "
    "?,?,?,?,?, ?)",
    mail_columns, make_mail_look_ups);

/// The compressed body is selected, but neither read nor decompressed.
constexpr extract_step store_mail_step(
    "Select _id, subject,messageId, fromAddress, toAddresses,ccAddresses,bccAddresses,replyToAddresses,snippet,"
    "dateSentMs,dateReceivedMs, permalink, bodyCompressed from messages",
    "insert into messages(bookmark,subject,snippet,date_sent, date_received, account_id ,from_list,to_list,cc_list,"
    "bcc_list, reply_to_list, permalink, source_file,os_scheme_display, source_count_name) values(0,?,?,?,?,  "
    "?,?,?,?,?,  ?,?,?,?,?)",
    store_mail_columns);

namespace {

constexpr char mailbox_statement[] = "select displayName from Mailbox where _id = ?";
constexpr char mailbox_origin[] = "QString gmail_androidos::get_mailbox_name(QSqlQuery, QString)";
constexpr char attachment_statement[] = "Select _id , fileName from Attachment where messageKey = ?";
constexpr char attachment_origin[] = "gmail_androidos::struct_attachment_detail "
                                     "gmail_androidos::get_mail_attachments_detail(QSqlQuery, QString)";

constexpr qsizetype max_characters_of_row = 500'000'000; // SQLite does not accept a longer row

/// The names of mailboxes, each looked up once.
class mailbox_names
{
public:
    mailbox_names(const source_database &source, const cancel_flag &cancelled)
        : mailboxes(source, mailbox_statement, log_origin(mailbox_origin), look_up::keys::found, cancelled)
    {
    }

    QString get_mailbox_name(const QString &key)
    {
        if (names.size() > max_names || characters_kept > max_characters_kept) {
            names.clear();
            characters_kept = 0;
        }
        auto known = names.constFind(key);
        if (known == names.constEnd()) {
            known = names.insert(key, looked_up(key));
            characters_kept += known->size();
        }
        return *known;
    }

private:
    static constexpr qsizetype max_names = 10000;                     // there are hardly ever more than a few dozen
    static constexpr qsizetype max_characters_kept = 4 * 1024 * 1024; // a damaged name may be as long as the file

    /// A null text when the mailbox has no name, an empty one when there is no such mailbox.
    QString looked_up(const QString &key)
    {
        const bool is_found = !key.isEmpty() && mailboxes.ask(key) && mailboxes.next();
        return is_found ? columns::text_of(mailboxes.value(0)) : never_null({});
    }

    look_up mailboxes;
    QHash<QString, QString> names;
    qsizetype characters_kept = 0;
};

/// The attachments of a mail, as its row names them.
struct struct_attachment_detail
{
    QString description; ///< names and paths of all
    QString preview_path;
    QString export_paths; ///< each followed by the joiner
};

class mail_look_ups : public row_look_ups
{
public:
    mail_look_ups(const source_database &source, step_runner &of)
        : runner(of)
        , mailboxes(source, runner.cancelled)
        , attachments(source, attachment_statement, log_origin(attachment_origin), look_up::keys::missing,
                      runner.cancelled)
        , bodies(runner.source.body_dir_path, runner.source.root, runner.cancelled)
    {
    }

    qsizetype fill(const QSqlQuery &row, row_context &context) override
    {
        const QVariant id = row.value(mail_step.position_of("_id"));
        context.mailbox = mailboxes.get_mailbox_name(row.value(mail_step.position_of("mailboxKey")).toString());
        context.body_file = never_null(runner.source.relative_path(bodies.path_of(id.toString()).trimmed()));
        runner.know_account(context);
        const struct_attachment_detail detail = get_mail_attachments_detail(id);
        context.attachment_description = never_null(detail.description);
        context.attachment_preview = never_null(detail.preview_path);
        context.attachment_exports = detail.export_paths;
        return 1;
    }

private:
    struct_attachment_detail get_mail_attachments_detail(const QVariant &mail_id)
    {
        struct_attachment_detail detail;
        if (!attachments.ask(mail_id))
            return detail;
        while (!runner.cancelled.is_set() && detail.description.size() < max_characters_of_row && attachments.next()) {
            const QString path = runner.source.cached_attachment_path(attachments.value(0).toString());
            detail.description += QLatin1StringView("File Name : ") + attachments.value(1).toString() +
                                  QLatin1StringView(";File Path : ") + path + QLatin1StringView(";;");
            detail.export_paths += path + record_joiner;
        }
        detail.preview_path = detail.export_paths.section(record_joiner, 0, 0);
        if (detail.description.endsWith(QLatin1StringView(";;")))
            detail.description.chop(2);
        return detail;
    }

    step_runner &runner;
    mailbox_names mailboxes;
    look_up attachments;
    body_files bodies;
};

std::unique_ptr<row_look_ups> make_mail_look_ups(const source_database &source, step_runner &runner)
{
    return std::make_unique<mail_look_ups>(source, runner);
}

} // namespace
