/// Takeout: one mbox file, cut into messages, parsed and stored.
#include "common/log_line.h"
#include "common/plugin_static_function.h"
#include "extractors/gmail_gtakeoutos.h"
#include "extractors/row_writer.h"
#include "extractors/takeout/mail.h"
#include "extractors/takeout/mbox_splitter.h"

#include <QFile>
#include <QSqlError>

#include <new>

namespace {

// Failures log this very text.
constexpr char insert_query_str[] =
    "insert into messages  (bookmark,account_id ,subject, to_list, from_list, timestamp, cc_list, snippet,"
    "email_attachments,source_file,os_scheme_display,source_count_name,message_text,export_file_paths,"
    "preview_file_path) values(0,?,?,?,?,?,?,?,?,?,?,?,?,?,?) ";

constexpr QLatin1StringView record_joiner(";++::++;"); // between several paths in one column

/// A message whose insert failed is parsed again together with the next one. When inserts go on failing, that work
/// would grow with the square of their number: past this many bytes since the last success nothing is kept.
constexpr qint64 most_bytes_parsed_again = 256 * 1024 * 1024;

/// The paths of the attachments' files as seen from the result database.
QStringList paths_beside_database(const QStringList &file_names)
{
    QStringList paths;
    for (const QString &name : file_names)
        paths.append(QLatin1StringView("./Attachments/") + name);
    return paths;
}

} // namespace

void gmail_gtakeoutos::start_mbox_parsing_for_plugin(QString mbox_path)
{
    const log_origin origin;
    log_line("[start_mbox_parsing] -Start");
    QFile mail_file(mbox_path);
    if (const QString error = source_root.open(mail_file); !error.isEmpty()) {
        log_line("[start_mbox_parsing] File Open Failed:", mail_file.fileName());
        log_line("[start_mbox_parsing] Error:", error);
        return;
    }

    using progress = mbox_splitter::progress;
    mbox_splitter splitter(mail_file);
    row_writer rows(destination_db, QString::fromLatin1(insert_query_str),
                    [&origin](const QString &statement, const QString &error) {
                        log_line({"Query insert ----FAILED---", origin}, statement);
                        log_line({"Error:", origin}, error);
                    });
    source_file = never_null(source_file_of(mbox_path));
    source_count_name = plugin_static_function::get_source_count_name();
    qint64 bytes_parsed_again = 0;
    progress state = progress::reading;
    const qint64 size = mail_file.size();
    while (!bool_cancel_extraction.is_set() && state != progress::file_ended && state != progress::read_failed) {
        bool stored = false;
        try {
            state = splitter.read();
            rows.commit_if_due(splitter.message().size());
            if (state == progress::reading || state == progress::file_ended || state == progress::read_failed)
                continue;
            stored = state == progress::message_complete && store_message(splitter.message(), rows);
        } catch (const std::bad_alloc &) {
            state = progress::too_large;
        }
        if (state == progress::too_large) {
            splitter.give_up_message(); // its memory is needed for the lines below
            clear_fields();
            log_line("[start_mbox_parsing] File Read ----FAILED----:", mbox_path);
            log_line("[start_mbox_parsing] Error:", u"A message is too large and left out");
            continue;
        }
        if (stored) {
            bytes_parsed_again = 0;
            splitter.drop_message();
            continue;
        }
        if (bool_cancel_extraction.is_set())
            break;
        // The failed message is not dropped: the next row is parsed from both together.
        bytes_parsed_again += splitter.message().size();
        if (bytes_parsed_again > most_bytes_parsed_again) {
            log_line("[start_mbox_parsing] ----FAILED---- too many inserts in a row, messages dropped:", mbox_path);
            clear_fields();
            splitter.drop_message();
        }
    }
    if (state == progress::read_failed) {
        log_line("[start_mbox_parsing] File Read ----FAILED----:", mail_file.fileName());
        log_line("[start_mbox_parsing] Error:", mail_file.errorString());
    }
    if (state == progress::file_ended && mail_file.pos() < size) {
        log_line("[start_mbox_parsing] File Read ----FAILED----:", mail_file.fileName());
        log_line("[start_mbox_parsing] Error:", u"The file became shorter meanwhile");
    }
    finish_rows(rows);
    mail_file.close();
    log_line("[start_mbox_parsing] -End");
}

/// The file's path below the source's root, with a leading "/".
QString gmail_gtakeoutos::source_file_of(const QString &mbox_path) const
{
    QString path = mbox_path;
    if (path.startsWith(virtual_source_path)) {
        path.remove(0, virtual_source_path.size());
        if (!path.startsWith(u'/'))
            path.prepend(u'/');
    }
    return plugin_static_function::get_final_artifact_source_file(path, QString(), source_type_internal).first;
}

/// Parse a message and insert its row. False when the insert failed (the fields then keep what they hold), and when the
/// run was cancelled before all of the fields were there.
bool gmail_gtakeoutos::store_message(const QByteArray &message, row_writer &rows)
{
    if (!mail_data_start_parsing_plugin(message))
        return false;
    const bool inserted = insert_row(rows, row_values());
    if (inserted)
        clear_fields();
    return inserted;
}

/// In the order of the statement's placeholders.
QStringList gmail_gtakeoutos::row_values() const
{
    const QStringList attachments = paths_beside_database(attachment_name_list);
    return {
        never_null(takeout_account_id),
        never_null(subject),
        never_null(to_list),
        never_null(from_list),
        never_null(timestamp),
        never_null(cc_list),
        never_null(snippet),
        never_null(attachment_name_list.join(u',')),
        source_file,
        never_null(text_field_3),
        source_count_name,
        never_null(message_text),
        never_null(attachments.join(record_joiner)),
        never_null(attachments.value(0).trimmed()),
    };
}

/// False when the run is cancelled before the attachments; those that are written then stay, with their row.
bool gmail_gtakeoutos::mail_data_start_parsing_plugin(const QByteArray &message)
{
    const log_span span("[mail_data_start_parsing] -Start", "[mail_data_start_parsing] -End");
    if (QByteArrayView(message).trimmed().isEmpty())
        return true;
    const mail marked(message, &bool_cancel_extraction);
    emlx_to(marked);
    emlx_from(marked);
    emlx_subject(marked);
    emlx_cc(marked);
    emlx_date(marked);
    emlx_message_body(marked);
    if (bool_cancel_extraction.is_set())
        return false;
    emlx_attachment_plugin(marked);
    return true;
}

void gmail_gtakeoutos::clear_fields()
{
    for (QString *field : {&subject, &to_list, &from_list, &timestamp, &cc_list, &snippet, &message_text})
        field->clear();
    attachment_name_list.clear();
}
