/// Attachments of the provider database and of the accounts' mail stores. No attachment file is opened: rows contain
/// its path, whether or not it exists.
#include "extractors/android/extract_step.h"
#include "extractors/android/look_up.h"
#include "extractors/android/step_runner.h"
#include "extractors/rows/texts.h"

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

constexpr column store_attachment_columns[] = {
    columns::text("fileName"), // the store's column is "filename"
    columns::text("mimeType"), columns::text("size"),      columns::account,
    columns::source_file,      columns::os_scheme_display, columns::source_count_name,
};

std::unique_ptr<row_look_ups> make_attachment_look_ups(const source_database &source, step_runner &runner);

} // namespace

constexpr extract_step attachment_step(
    "Select _id, fileName,mimeType,size, contentId,contentUri, messageKey from Attachment",
    "insert into attachments(bookmark,file_name, file_path ,mime_type, size, mail_subject, mail_snippet, content_id, "
    "content_uri, account_id, preview_file_path , export_file_paths, source_file,os_scheme_display, "
    "source_count_name) values(0,?,?,?,?,?,  ?,?,?,?,?, ?,?,?,?)",
    attachment_columns, make_attachment_look_ups);

constexpr extract_step store_attachment_step(
    "Select _id, filename,mimeType,size, messages_messageId from attachments",
    "insert into attachments(bookmark,file_name, mime_type, size, account_id,source_file,os_scheme_display, "
    "source_count_name) values(0,?,?,?,?,  ?,?,?)",
    store_attachment_columns, nullptr, extract_step::open_failure::with_path);

namespace {

constexpr char mail_statement[] = "Select subject , snippet from Message where _id = ?";
constexpr char mail_origin[] = "gmail_androidos::struct_mail_detail "
                               "gmail_androidos::get_msg_detail_for_attachment(QSqlQuery, QString)";

/// The mail of an attachment; null texts are NULL.
struct struct_mail_detail
{
    QString subject;
    QString snippet;
};

class attachment_look_ups : public row_look_ups
{
public:
    attachment_look_ups(const source_database &source, step_runner &of)
        : runner(of)
        , mails(source, mail_statement, log_origin(mail_origin), look_up::keys::found, runner.cancelled)
    {
    }

    qsizetype fill(const QSqlQuery &row, row_context &context) override
    {
        const QString id = row.value(attachment_step.position_of("_id")).toString();
        context.cached_file = never_null(runner.source.cached_attachment_path(id));
        runner.know_account(context);
        const struct_mail_detail detail =
            get_msg_detail_for_attachment(row.value(attachment_step.position_of("messageKey")));
        context.mail_subject = detail.subject;
        context.mail_snippet = detail.snippet;
        return 1;
    }

private:
    /// Empty texts when there is no such mail.
    struct_mail_detail get_msg_detail_for_attachment(const QVariant &key)
    {
        if (!mails.ask(key) || !mails.next())
            return {never_null({}), never_null({})};
        return {columns::text_of(mails.value(0)), columns::text_of(mails.value(1))};
    }

    step_runner &runner;
    look_up mails;
};

std::unique_ptr<row_look_ups> make_attachment_look_ups(const source_database &source, step_runner &runner)
{
    return std::make_unique<attachment_look_ups>(source, runner);
}

} // namespace
