/// Android: mails of the provider database and of the accounts' mail stores.
#include "extractors/android/body_files.h"
#include "extractors/android/extract_step.h"
#include "extractors/gmail_androidos.h"

#include <QHash>
#include <QSqlError>

namespace {

constexpr QLatin1StringView record_joiner(";++::++;"); // between several paths in one column

// ---- What the rows are made of ------------------------------------------------------------------------------------

/// Attachments' paths, then the body file's, with the joiner between them only.
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

constexpr extract_step mail_step(
    "Select _id, displayName,timeStamp,subject,flagAttachment,messageId, mailboxKey,fromList, "
    "toList,ccList,bccList,replyToList,snippet,flagSeen from Message",
    "insert into messages(bookmark,display_name,timestamp,subject,snippet,has_attachment,email_attachments, "
    "mailbox,snippet_file,seen,from_list,to_list,cc_list,bcc_list, reply_to_list,account_id, preview_file_path , "
    "export_file_paths,source_file,os_scheme_display, source_count_name) values(0,?,?,?,?,  ?,?,?,?,?,  ?,?,?,?,?,  "
    "?,?,?,?,?, ?)",
    mail_columns);

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

/// The compressed body is selected, but neither read nor decompressed.
constexpr extract_step store_mail_step(
    "Select _id, subject,messageId, fromAddress, toAddresses,ccAddresses,bccAddresses,replyToAddresses,snippet,"
    "dateSentMs,dateReceivedMs, permalink, bodyCompressed from messages",
    "insert into messages(bookmark,subject,snippet,date_sent, date_received, account_id ,from_list,to_list,cc_list,"
    "bcc_list, reply_to_list, permalink, source_file,os_scheme_display, source_count_name) values(0,?,?,?,?,  "
    "?,?,?,?,?,  ?,?,?,?,?)",
    store_mail_columns);

constexpr char mailbox_statement[] = "select displayName from Mailbox where _id = ?";
constexpr char attachment_statement[] = "Select _id , fileName from Attachment where messageKey = ?";

// ---- What is looked up for a row ----------------------------------------------------------------------------------

constexpr qsizetype most_mailbox_names = 10000;             // kept; there are hardly ever more than a few dozen
constexpr qsizetype most_characters_kept = 4 * 1024 * 1024; // damaged ones may each be as long as the file
constexpr qsizetype most_characters_of_a_row = 500'000'000; // SQLite takes no longer row

struct mail_look_ups
{
    mail_look_ups(const source_database &source, const QString &body_dir, const evidence_root &root,
                  const cancel_flag &cancelled)
        : mailboxes(source, mailbox_statement, "Mailbox", "_id")
        , attachments(source, attachment_statement, "Attachment", "messageKey")
        , bodies(body_dir, root, cancelled)
    {
        attachments.note_keys(source); // most mails have none
    }

    look_up mailboxes;
    look_up attachments;
    body_files bodies;
    QHash<QString, QString> mailbox_names;
    qsizetype characters_kept = 0; ///< in the names
};

} // namespace

// ---- Steps --------------------------------------------------------------------------------------------------------

void gmail_androidos::extract_gm_mails()
{
    run_on_provider(mail_step, {}, [this](const source_database &source) -> row_look_up {
        const auto known = std::make_shared<mail_look_ups>(source, body_dir_path, source_root, bool_cancel_extraction);
        return [this, known](const QSqlQuery &row, row_context &context) {
            const QVariant id = row.value(mail_step.position_of("_id"));
            const QString mailbox_key = row.value(mail_step.position_of("mailboxKey")).toString();
            if (known->mailbox_names.size() > most_mailbox_names || known->characters_kept > most_characters_kept) {
                known->mailbox_names.clear();
                known->characters_kept = 0;
            }
            auto mailbox = known->mailbox_names.constFind(mailbox_key);
            if (mailbox == known->mailbox_names.constEnd()) {
                mailbox = known->mailbox_names.insert(mailbox_key, get_mailbox_name(known->mailboxes, mailbox_key));
                known->characters_kept += mailbox->size();
            }
            context.mailbox = *mailbox;
            context.body_file = never_null(relative_path(known->bodies.path_of(id.toString()).trimmed()));
            know_account(context);
            const struct_attachment_detail detail = get_mail_attachments_detail(known->attachments, id);
            context.attachment_description = never_null(detail.description);
            context.attachment_preview = never_null(detail.preview_path);
            context.attachment_exports = detail.export_paths;
        };
    });
}

void gmail_androidos::extract_gm_other_account_mails()
{
    run_on_every_mail_store(store_mail_step, {});
}

// ---- Look-ups -----------------------------------------------------------------------------------------------------

/// A null text when the mailbox has no name, an empty one when there is no such mailbox.
QString gmail_androidos::get_mailbox_name(look_up &mailboxes, const QString &key) const
{
    const QString none = QStringLiteral("");
    if (key.isEmpty() || !mailboxes.ask(key, {}))
        return none;
    return mailboxes.next() ? columns::text_of(mailboxes.value(0)) : none;
}

gmail_androidos::struct_attachment_detail gmail_androidos::get_mail_attachments_detail(look_up &attachments,
                                                                                       const QVariant &mail_id) const
{
    struct_attachment_detail detail;
    if (!attachments.ask(mail_id, {}))
        return detail;
    while (!bool_cancel_extraction.is_set() && detail.description.size() < most_characters_of_a_row &&
           attachments.next()) {
        const QString path = cached_attachment_path(attachments.value(0).toString());
        detail.description += QLatin1StringView("File Name : ") + attachments.value(1).toString() +
                              QLatin1StringView(";File Path : ") + path + QLatin1StringView(";;");
        detail.export_paths += path + record_joiner;
    }
    detail.preview_path = detail.export_paths.section(record_joiner, 0, 0);
    if (detail.description.endsWith(QLatin1StringView(";;")))
        detail.description.chop(2);
    return detail;
}

/// The cache holds one file per attachment, named by its id. Without a cache directory only the id is left.
QString gmail_androidos::cached_attachment_path(const QString &attachment_id) const
{
    return relative_path(QString(attachment_cache_dir_path + attachment_id).trimmed());
}
