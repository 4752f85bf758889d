/// Takeout: one mbox file, cut into messages, parsed and stored.
#include "common/log_line.h"
#include "common/plugin_static_function.h"
#include "extractors/gmail_gtakeoutos.h"
#include "extractors/rows/row_writer.h"
#include "extractors/rows/texts.h"
#include "extractors/takeout/mail_marks.h"
#include "extractors/takeout/mbox_splitter.h"

#include <QFile>
#include <QSqlError>

#include <new>
#include <optional>

namespace {

// Failures log exactly this text.
constexpr char insert_query_str[] =
    "insert into messages  (bookmark,account_id ,subject, to_list, from_list, timestamp, cc_list, snippet,"
    "email_attachments,source_file,os_scheme_display,source_count_name,message_text,export_file_paths,"
    "preview_file_path) values(0,?,?,?,?,?,?,?,?,?,?,?,?,?,?) ";

/// A message whose insert failed is parsed again together with the next one. If inserts keep failing, that work grows
/// with the square of their number, so messages are dropped once this many bytes have been parsed again without a
/// success.
constexpr qint64 max_bytes_parsed_again = 256 * 1024 * 1024;

/// The paths of the attachment files, relative to the directory of the result database.
QStringList paths_beside_database(const QStringList &file_names)
{
    QStringList paths;
    for (const QString &name : file_names)
        paths.append(QLatin1StringView("./Attachments/") + name);
    return paths;
}

} // namespace

/// An mbox file that is being read.
struct gmail_gtakeoutos::open_mbox
{
    open_mbox(const QString &path, const log_origin &log_name)
        : file(path)
        , origin(log_name)
    {
    }

    void log_failed_read(const QString &error) const
    {
        log_line({"[start_mbox_parsing] File Read ----FAILED----:", origin}, file.fileName());
        log_line({"[start_mbox_parsing] Error:", origin}, error);
    }

    QFile file;
    log_origin origin;
    qint64 size = 0;
    std::optional<mbox_splitter> splitter;
    std::optional<row_writer> rows;
    qint64 bytes_parsed_again = 0; ///< since the last message that was stored
};

void gmail_gtakeoutos::start_mbox_parsing_for_plugin(QString mbox_path)
{
    const log_origin origin;
    log_line("[start_mbox_parsing] -Start");
    open_mbox mbox(mbox_path, origin);
    if (const QString error = source_root.open(mbox.file); !error.isEmpty()) {
        log_line("[start_mbox_parsing] File Open Failed:", mbox_path);
        log_line("[start_mbox_parsing] Error:", error);
        return;
    }
    mbox.size = mbox.file.size();
    mbox.splitter.emplace(mbox.file);
    mbox.rows.emplace(destination_db, QString::fromLatin1(insert_query_str),
                      [&origin](const QString &statement, const QString &error) {
                          log_line({"Query insert ----FAILED---", origin}, statement);
                          log_line({"Error:", origin}, error);
                      });
    source_file = source_file_value(virtual_source_path, mbox_path, source_type_internal);
    source_count_name = plugin_static_function::get_source_count_name();
    while (!bool_cancel_extraction.is_set() && take_piece(mbox)) {}
    records.finish(*mbox.rows);
    mbox.file.close();
    log_line("[start_mbox_parsing] -End");
}

/// Read the next piece, and store the message if it is complete. False at the end of the file.
bool gmail_gtakeoutos::take_piece(open_mbox &mbox)
{
    using progress = mbox_splitter::progress;
    try {
        const progress state = mbox.splitter->read();
        mbox.rows->commit_if_due(mbox.splitter->message().size());
        switch (state) {
        case progress::reading:
            return true;
        case progress::message_complete:
            take_message(mbox);
            return true;
        case progress::too_large:
            give_up_message(mbox);
            return true;
        case progress::file_ended:
            if (mbox.file.pos() < mbox.size)
                mbox.log_failed_read(QStringLiteral("The file became shorter meanwhile"));
            return false;
        case progress::read_failed:
            mbox.log_failed_read(mbox.file.errorString());
            return false;
        }
    } catch (const std::bad_alloc &) {
        give_up_message(mbox);
    }
    return true;
}

void gmail_gtakeoutos::take_message(open_mbox &mbox)
{
    if (store_message(mbox.splitter->message(), *mbox.rows)) {
        mbox.bytes_parsed_again = 0;
        mbox.splitter->drop_message();
        return;
    }
    if (bool_cancel_extraction.is_set())
        return;
    // The failed message is not dropped: the next row is parsed from both together.
    mbox.bytes_parsed_again += mbox.splitter->message().size();
    if (mbox.bytes_parsed_again <= max_bytes_parsed_again)
        return;
    log_line({"[start_mbox_parsing] ----FAILED---- too many inserts in a row, messages dropped:", mbox.origin},
             mbox.file.fileName());
    clear_fields();
    mbox.splitter->drop_message();
}

/// The message is freed first: log lines need memory, too.
void gmail_gtakeoutos::give_up_message(open_mbox &mbox)
{
    mbox.splitter->give_up_message();
    clear_fields();
    mbox.log_failed_read(QStringLiteral("A message is too large and left out"));
}

/// Parse a message and insert its row. False when the insert failed (the fields then keep their values), and when the
/// run was cancelled before all fields were parsed.
bool gmail_gtakeoutos::store_message(const QByteArray &message, row_writer &rows)
{
    if (!mail_data_start_parsing_plugin(message))
        return false;
    const bool inserted = records.insert(rows, row_values());
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

/// False when the run is cancelled before the attachments are reached. After a later cancel, the attachments already
/// written are kept, with their row.
bool gmail_gtakeoutos::mail_data_start_parsing_plugin(const QByteArray &message)
{
    const log_span span("[mail_data_start_parsing] -Start", "[mail_data_start_parsing] -End");
    if (QByteArrayView(message).trimmed().isEmpty())
        return true;
    const mail_marks marked(message, &bool_cancel_extraction);
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
