/// Takeout: settings, discovery, run order.
#include "extractors/gmail_gtakeoutos.h"

#include "common/database_connection.h"
#include "common/log_line.h"

#include <QDir>
#include <QSqlError>

namespace {

/// The absolute directory of `file_path`, trimmed; the current directory when the path is empty.
QString directory_of(const QString &file_path)
{
    return QFileInfo(file_path).absoluteDir().absolutePath().trimmed();
}

QString attachments_below(const QString &directory)
{
    QString path = directory.endsWith(u'/') ? directory : directory + u'/';
    path += QLatin1StringView("Attachments/");
    QDir().mkpath(path);
    return path;
}

} // namespace

gmail_gtakeoutos::gmail_gtakeoutos(QWidget *parent)
    : extractor_frame(parent)
{
}

gmail_gtakeoutos::~gmail_gtakeoutos() = default;

void gmail_gtakeoutos::gtakeoutos_set_destination_location(QString result_dir, QString tmp_dir, QString db_file,
                                                           QString feature_path)
{
    set_destination_location(result_dir, tmp_dir, db_file);
    attachments_dir_path = attachments_below(directory_of(db_file));
    feature_output_path = feature_path;
    feature_output_dir = directory_of(feature_path);
    feature_attachments_dir_path = attachments_below(feature_output_dir);
}

void gmail_gtakeoutos::keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info)
{
    takeout_account_id = source_info.text_field_11;
}

void gmail_gtakeoutos::find_source_file()
{
    const log_span span("[find_source_file] starts", "[find_source_file] end");
    mail_dir_path.clear();
    const QString candidate = virtual_source_path + QLatin1StringView("Mail");
    if (!source_root.has(candidate, {}))
        return;
    mail_dir_path = candidate;
    log_line("[find_source_file] Source file found at path-->>", mail_dir_path);
}

void gmail_gtakeoutos::extract_plugin_artifacts()
{
    const log_span span("[extract_plugin_artifacts] starts", "[extract_plugin_artifacts] ends");
    if (engine_type_int != 0)
        return;
    if (selected(QLatin1StringView("messages"))) {
        extract_gmail_for_plugin();
        records.report();
    }
    finish_tab(); // whether or not "messages" was selected
}

void gmail_gtakeoutos::extract_gmail_for_plugin()
{
    const log_origin origin;
    log_line(" -START");
    const open_database destination(origin.signature(), destination_db_file);
    if (!destination.is_open()) {
        log_line("open destination DB------ FAILED ------");
        log_line("", destination.connection().lastError().text());
        return;
    }
    destination_db = destination.connection();
    attachment_names = std::make_unique<free_file_names>(attachments_dir_path, bool_cancel_extraction);
    const bool walked = parse_every_mbox();
    attachment_names.reset();
    destination_db = QSqlDatabase();
    if (walked)
        log_line(" -END");
}

/// Parses every entry in or below the mail directory whose name ends in ".mbox", in the order of the file system. False
/// when the run was cancelled before the walk ended.
bool gmail_gtakeoutos::parse_every_mbox()
{
    if (mail_dir_path.isEmpty())
        return true; // an empty path would be walked as the current directory
    return source_root.walk(mail_dir_path, bool_cancel_extraction, {}, [this](const evidence_entry &entry) {
        const QString path = entry.path().trimmed();
        if (path.endsWith(QLatin1StringView(".mbox")))
            start_mbox_parsing_for_plugin(path);
    });
}
