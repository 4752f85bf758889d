/// Extractor for Google Takeout archives: every ".mbox" file below "Mail" becomes rows of `messages` and attachment
/// files. The parsers are in takeout/; they use neither log nor database.
///
///     gmail_gtakeoutos.cpp            settings, discovery, run order
///     gmail_gtakeoutos_messages.cpp   one file: cut, parse, store
///     gmail_gtakeoutos_fields.cpp     the operations on one message: log, call a parser, keep the result
#pragma once

#include "common/free_file_names.h"
#include "extractors/extractor_frame.h"
#include "extractors/takeout/mail_attachments.h"

#include <QSqlDatabase>

#include <memory>

class row_writer;
struct mail_marks;

class gmail_gtakeoutos : public extractor_frame
{
    Q_OBJECT
    EXTRACTOR_OPERATIONS(gtakeoutos)

public:
    explicit gmail_gtakeoutos(QWidget *parent);
    ~gmail_gtakeoutos() override;

    [[nodiscard]] QLatin1StringView os_scheme() const override { return QLatin1StringView("gTakeoutOS"); }

    /// Creates a directory "Attachments" beside `db_file`, and one beside `feature_path`: in the process's current
    /// directory when `feature_path` is empty.
    void gtakeoutos_set_destination_location(QString result_dir, QString tmp_dir, QString db_file,
                                             QString feature_path);

private:
    void find_source_file() override;
    void extract_plugin_artifacts() override;
    void keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info) override;

    void extract_gmail_for_plugin();
    bool parse_every_mbox();
    void start_mbox_parsing_for_plugin(QString mbox_path);
    struct open_mbox;
    bool take_piece(open_mbox &mbox);
    void take_message(open_mbox &mbox);
    void give_up_message(open_mbox &mbox);
    bool store_message(const QByteArray &message, row_writer &rows);
    [[nodiscard]] QStringList row_values() const;
    bool mail_data_start_parsing_plugin(const QByteArray &message);
    void clear_fields();

    void emlx_to(const mail_marks &message);
    void emlx_from(const mail_marks &message);
    void emlx_subject(const mail_marks &message);
    void emlx_cc(const mail_marks &message);
    void emlx_date(const mail_marks &message);
    QString recipients(const mail_marks &message, qsizetype begin, QLatin1StringView name);
    QString emlx_multiple(const mail_marks &message, qint64 pos);

    void emlx_message_body(const mail_marks &message);
    QString single_part_text(const mail_marks &message);
    QString multipart_text(const mail_marks &message);
    bool check_for_multipart(const mail_marks &message);
    bool check_for_plain_text(const mail_marks &message);
    bool check_text_encoded(const mail_marks &message);
    bool emlx_check_text_encoded(const mail_marks &message);
    bool emlx_failsafe_text_encoded_check(qint64 pos, const mail_marks &message);
    QByteArray emlx_decode_base64(QByteArrayView encoded);
    QString emlx_normalize_characters(QString text);

    void emlx_attachment_plugin(const mail_marks &message);
    bool email_attachment_exists(const mail_marks &message);
    std::vector<mail_attachments::parameter> email_attachment_filelist(const mail_marks &message);
    void emlx_attachment_output(const QString &name, QByteArrayView body, const QString &dir);

    QString takeout_account_id;
    QString mail_dir_path;
    QString attachments_dir_path;
    QString feature_output_path;
    QString feature_output_dir;
    QString feature_attachments_dir_path;

    // The fields of the current message.
    QString to_list;
    QString from_list;
    QString subject;
    QString cc_list;
    QString timestamp;
    QString snippet;
    QString message_text;
    QStringList attachment_name_list;
    qint64 scan_pos = -1; ///< where the line last read by emlx_to, emlx_cc or emlx_multiple ends

    // Used while mail is extracted.
    QSqlDatabase destination_db;
    QString source_file; ///< of the current file
    QString source_count_name;
    std::unique_ptr<free_file_names> attachment_names;
};
