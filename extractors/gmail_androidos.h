/// Extractor for the data of the Gmail application on Android, below "apps/com.google.android.gm/" of the source.
///
///     gmail_androidos.cpp              discovery, run order, the two shared readers
///     gmail_androidos_run.cpp          the frame of every extract step: copy, open, select, bind, count, commit
///     gmail_androidos_messages.cpp     mails of the provider database and of the mail stores
///     gmail_androidos_attachments.cpp  attachments of both
///     gmail_androidos_accounts.cpp     mailboxes, accounts, cookies
///
/// What a step reads and writes is a table (android/extract_step.h). Failures end in the debug log and end only the
/// step, the store or the row they belong to.
#pragma once

#include "common/log_line.h"
#include "extractors/android/source_database.h"
#include "extractors/extractor_frame.h"

#include <QMap>

#include <functional>
#include <memory>

class extract_step;
class row_writer;
struct row_context;

class gmail_androidos : public extractor_frame
{
    Q_OBJECT
    EXTRACTOR_OPERATIONS(androidos)

public:
    explicit gmail_androidos(QWidget *parent);

    [[nodiscard]] QLatin1StringView os_scheme() const override { return QLatin1StringView("androidOS"); }

    void androidos_set_destination_location(QString result_dir, QString tmp_dir, QString db_file)
    {
        set_destination_location(result_dir, tmp_dir, db_file);
    }

private:
    /// The attachments of a mail, as its row names them.
    struct struct_attachment_detail
    {
        QString description; ///< names and paths of all
        QString preview_path;
        QString export_paths; ///< each followed by the joiner
    };

    /// The mail of an attachment.
    struct struct_mail_detail
    {
        QString subject; ///< null for NULL
        QString snippet;
    };

    /// What a step looks up for a row of the source; made once per step, on the open source.
    using row_look_up = std::function<void(const QSqlQuery &row, row_context &context)>;
    using make_look_up = std::function<row_look_up(const source_database &source)>;

    void find_source_file() override;
    void extract_plugin_artifacts() override;

    // The steps.
    void extract_gm_mails();
    void extract_gm_other_account_mails();
    void extract_gm_attachments();
    void extract_gm_other_account_attachments();
    void extract_gm_mailboxes();
    void extract_gm_accounts();
    void extract_gm_cookies();

    // The frame of the steps. `step` is logged and named after `origin`.
    void run_on_provider(const extract_step &step, const log_origin &origin, const make_look_up &look_up = {});
    void run_on_one_source(const extract_step &step, const QString &source_path, bool needs_copy,
                           const log_origin &origin, const make_look_up &look_up = {});
    void run_on_every_mail_store(const extract_step &step, const log_origin &origin);
    enum class outcome { all_read, failed, cancelled };
    outcome copy_rows(const extract_step &step, const QString &copy, row_context &context, row_writer &rows,
                      const log_origin &origin, const make_look_up &look_up);
    outcome copy_rows_that_fit(const extract_step &step, const QString &copy, row_context &context, row_writer &rows,
                               const log_origin &origin, const make_look_up &look_up);
    [[nodiscard]] bool check_destination(const open_database &destination, const log_origin &origin) const;
    [[nodiscard]] std::unique_ptr<row_writer> writer_into(const open_database &destination, const extract_step &step,
                                                          const log_origin &origin) const;
    static void log_failed_open(const extract_step &step, const open_database &source, const log_origin &origin);
    [[nodiscard]] row_context context_of(const QString &source_file) const;

    QString working_copy_of(const QString &source_path);
    void remove_working_copies();

    // Look-ups and readers.
    QString get_gmail_account_id();
    void know_account(row_context &context); ///< look it up, once per step
    [[nodiscard]] QStringList extract_last_warmup_accounts() const;
    [[nodiscard]] QString get_mailbox_name(look_up &mailboxes, const QString &key) const;
    [[nodiscard]] struct_attachment_detail get_mail_attachments_detail(look_up &attachments,
                                                                       const QVariant &mail_id) const;
    [[nodiscard]] struct_mail_detail get_msg_detail_for_attachment(look_up &mails, const QVariant &key) const;

    [[nodiscard]] QString relative_path(const QString &path) const;
    [[nodiscard]] QString cached_attachment_path(const QString &attachment_id) const;
    [[nodiscard]] QString source_file_value(const QString &relative) const;

    QString unified_email_path; ///< located, read by no step
    QString provider_db_path;
    QStringList mail_store_paths;
    QString warm_accounts_path;
    QString body_dir_path;             ///< ends in "/"
    QString attachment_cache_dir_path; ///< ends in "/"
    QString cookie_store_path;

    QMap<QString, QString> working_copies; ///< of the step at hand, by source path
};
