/// Android: attachments of the provider database and of the accounts' mail stores. No attachment file is opened: rows
/// carry paths, whether or not the file is there.
#include "extractors/android/extract_step.h"
#include "extractors/gmail_androidos.h"

namespace {

constexpr column attachment_columns[] = {
    columns::text("fileName"),
    columns::from_context<&row_context::cached_file>(),
    columns::text("mimeType"),
    columns::text("size"),
    columns::from_context<&row_context::mail_subject>(),
    columns::from_context<&row_context::mail_snippet>(),
    columns::text("contentId"),
    columns::text("contentUri"),
    columns::account,
    columns::from_context<&row_context::cached_file>(), // preview
    columns::from_context<&row_context::cached_file>(), // export
    columns::source_file,
    columns::os_scheme_display,
    columns::source_count_name,
};

constexpr extract_step attachment_step(
    "Select _id, fileName,mimeType,size, contentId,contentUri, messageKey from Attachment",
    "insert into attachments(bookmark,file_name, file_path ,mime_type, size, mail_subject, mail_snippet, content_id, "
    "content_uri, account_id, preview_file_path , export_file_paths, source_file,os_scheme_display, "
    "source_count_name) values(0,?,?,?,?,?,  ?,?,?,?,?, ?,?,?,?)",
    attachment_columns);

constexpr column store_attachment_columns[] = {
    columns::text("fileName"), // the store's column is "filename"
    columns::text("mimeType"), columns::text("size"),      columns::account,
    columns::source_file,      columns::os_scheme_display, columns::source_count_name,
};

constexpr extract_step store_attachment_step(
    "Select _id, filename,mimeType,size, messages_messageId from attachments",
    "insert into attachments(bookmark,file_name, mime_type, size, account_id,source_file,os_scheme_display, "
    "source_count_name) values(0,?,?,?,?,  ?,?,?)",
    store_attachment_columns, nullptr, extract_step::open_failure::with_path);

constexpr char mail_statement[] = "Select subject , snippet from Message where _id = ?";

} // namespace

void gmail_androidos::extract_gm_attachments()
{
    run_on_provider(attachment_step, {}, [this](const source_database &source) -> row_look_up {
        const auto mails = std::make_shared<look_up>(source, mail_statement, "Message", "_id");
        return [this, mails](const QSqlQuery &row, row_context &context) {
            context.cached_file =
                never_null(cached_attachment_path(row.value(attachment_step.position_of("_id")).toString()));
            know_account(context);
            const QVariant mail_key = row.value(attachment_step.position_of("messageKey"));
            const struct_mail_detail detail = get_msg_detail_for_attachment(*mails, mail_key);
            context.mail_subject = detail.subject;
            context.mail_snippet = detail.snippet;
        };
    });
}

void gmail_androidos::extract_gm_other_account_attachments()
{
    run_on_every_mail_store(store_attachment_step, {});
}

/// Empty texts when there is no such mail.
gmail_androidos::struct_mail_detail gmail_androidos::get_msg_detail_for_attachment(look_up &mails,
                                                                                   const QVariant &key) const
{
    if (!mails.ask(key, {}) || !mails.next())
        return {never_null({}), never_null({})};
    return {columns::text_of(mails.value(0)), columns::text_of(mails.value(1))};
}
