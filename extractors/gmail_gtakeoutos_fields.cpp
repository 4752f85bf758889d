/// Takeout: the operations on one message. Each logs that it ran, calls a parser and keeps the result.
#include "common/base64.h"
#include "common/log_line.h"
#include "common/plugin_static_function.h"
#include "extractors/gmail_gtakeoutos.h"
#include "extractors/takeout/mail_attachments.h"
#include "extractors/takeout/mail_body.h"
#include "extractors/takeout/mail_headers.h"
#include "extractors/takeout/mail_marks.h"

#include <QFile>

using mail_body::is_found;

namespace {

/// The text of the header line at a mark; empty when the mark was not found.
QString header_at(const mail_marks &message, qsizetype mark)
{
    return is_found(mark) ? mail_headers::line_at(message.bytes, mark).text : QString();
}

} // namespace

// ---- Header fields ------------------------------------------------------------------------------------------------

void gmail_gtakeoutos::emlx_to(const mail_marks &message)
{
    const log_span span("[emlx_to] -Start", "[emlx_to] -End");
    // The mark begins with the line feed before the name, so that a longer name that ends in "To: " does not match.
    to_list = recipients(message, is_found(message.to) ? message.to + 1 : -1, QLatin1StringView("To: "));
}

void gmail_gtakeoutos::emlx_from(const mail_marks &message)
{
    const log_span span("[emlx_from] -Start", "[emlx_from] -End");
    const QString line = header_at(message, message.from);
    from_list = mail_headers::sender_name(mail_headers::without_name(line, QLatin1StringView("From: ")));
}

void gmail_gtakeoutos::emlx_subject(const mail_marks &message)
{
    const log_span span("[emlx_subject] -Start", "[emlx_subject] -End");
    const QString line = header_at(message, message.subject);
    subject = mail_headers::without_name(line, QLatin1StringView("Subject: ")).trimmed();
}

void gmail_gtakeoutos::emlx_cc(const mail_marks &message)
{
    const log_span span("[emlx_cc] -Start", "[emlx_cc] -End");
    cc_list = recipients(message, is_found(message.cc) ? message.cc : -1, QLatin1StringView("Cc: "));
}

void gmail_gtakeoutos::emlx_date(const mail_marks &message)
{
    const log_span span("[emlx_date] -Start", "[emlx_date] -End");
    const QString line = header_at(message, message.date).trimmed();
    const QString date_text = mail_headers::without_name(line, QLatin1StringView("Date: ")).trimmed();
    timestamp = QString::number(mail_headers::epoch_of_date(date_text));
}

QString gmail_gtakeoutos::recipients(const mail_marks &message, qsizetype begin, QLatin1StringView name)
{
    mail_headers::line line = mail_headers::line_at(message.bytes, begin);
    scan_pos = line.end;
    const auto next_line = [this, &message](QString &text) {
        const bool has_next = scan_pos + 1 < message.bytes.size();
        text += emlx_multiple(message, scan_pos);
        return has_next && scan_pos >= 0 && !bool_cancel_extraction.is_set();
    };
    QString text = mail_headers::unfolded(std::move(line.text), next_line);
    return mail_headers::recipient_names(mail_headers::without_name(std::move(text), name));
}

/// The line after the line feed at `pos`; the rest of the message when it has no further line feed.
QString gmail_gtakeoutos::emlx_multiple(const mail_marks &message, qint64 pos)
{
    const log_span span("[emlx_multiple] -Start", "[emlx_multiple] -End");
    const mail_headers::line line = mail_headers::line_at(message.bytes, pos + 1);
    scan_pos = line.end;
    return line.end < 0 ? QString::fromLocal8Bit(message.bytes.sliced(pos + 1)) : line.text;
}

// ---- Body ---------------------------------------------------------------------------------------------------------

void gmail_gtakeoutos::emlx_message_body(const mail_marks &message)
{
    const log_span span("[emlx_message_body] -Start", "[emlx_message_body] -End");
    snippet = check_for_multipart(message) ? multipart_text(message) : single_part_text(message);
    message_text = snippet;
}

QString gmail_gtakeoutos::single_part_text(const mail_marks &message)
{
    const bool encoded = check_text_encoded(message);
    if (message.content_types.empty() || !is_found(message.content_types.front()))
        return QString::fromLocal8Bit(mail_body::bytes_before_xml(message)).trimmed();
    const QByteArrayView paragraph = mail_body::first_paragraph(message);
    if (paragraph.isNull())
        return {};
    return encoded ? QString::fromLocal8Bit(emlx_decode_base64(paragraph).trimmed())
                   : QString::fromLocal8Bit(paragraph).trimmed();
}

/// The last text/plain part wins, even if it is empty. The bodies of earlier parts are not converted: parts without a
/// boundary between them all go to the same end, which would be read again for each of them.
QString gmail_gtakeoutos::multipart_text(const mail_marks &message)
{
    QString text;
    const std::vector<mail_body::plain_part> parts = mail_body::plain_parts(message);
    for (const mail_body::plain_part &part : parts) {
        if (bool_cancel_extraction.is_set())
            break;
        const bool encoded =
            emlx_check_text_encoded(message) || emlx_failsafe_text_encoded_check(part.blank_line, message);
        const bool is_last = &part == &parts.back();
        text = is_last ? QString::fromLocal8Bit(part.body).trimmed() : QString();
        if (encoded)
            text = QString::fromLocal8Bit(emlx_decode_base64(text.toLocal8Bit()));
        text = emlx_normalize_characters(std::move(text));
    }
    return text;
}

bool gmail_gtakeoutos::check_for_multipart(const mail_marks &message)
{
    const log_span span("[check_for_multipart] -Start", "[check_for_multipart] -End");
    return is_found(message.multipart);
}

bool gmail_gtakeoutos::check_for_plain_text(const mail_marks &message)
{
    const log_span span("[check_for_plain_text] -Start", "[check_for_plain_text] -End");
    return is_found(message.plain_text);
}

bool gmail_gtakeoutos::check_text_encoded(const mail_marks &message)
{
    const log_span span("Start", "End");
    return is_found(message.base64_upper) || is_found(message.base64_lower);
}

/// The encoding counts only if "Content-Type: text/plain;" is on the very next line, after a bare line feed.
bool gmail_gtakeoutos::emlx_check_text_encoded(const mail_marks &message)
{
    const log_span span("[emlx_check_text_encoded] -Start", "[emlx_check_text_encoded] -End");
    return is_found(message.base64_plain_upper) || is_found(message.base64_plain_lower);
}

/// Looks at the six bytes before the blank line. With CRLF line ends the last of them is a carriage return, so "base64"
/// at the end of a header is not recognised.
bool gmail_gtakeoutos::emlx_failsafe_text_encoded_check(qint64 pos, const mail_marks &message)
{
    const log_span span("[emlx_check_text_encoded] -Start", "[emlx_check_text_encoded] -End"); // names its sibling
    if (pos < 1)
        return false;
    const QByteArrayView before = message.bytes.first(pos).last(qMin<qsizetype>(pos, 6));
    return before == "base64" || before == "Base64";
}

QByteArray gmail_gtakeoutos::emlx_decode_base64(QByteArrayView encoded)
{
    const log_span span("[emlx_decode_base64] -Start", "[emlx_decode_base64] -End");
    return decoded_base64(encoded);
}

QString gmail_gtakeoutos::emlx_normalize_characters(QString text)
{
    const log_span span("[emlx_normalize_characters] -Start", "[emlx_normalize_characters] -End");
    return mail_body::normalized(std::move(text));
}

// ---- Attachments --------------------------------------------------------------------------------------------------

void gmail_gtakeoutos::emlx_attachment_plugin(const mail_marks &message)
{
    const log_span span("[emlx_attachment_plugin] -Start", "[emlx_attachment_plugin] -End");
    email_attachment_exists(message); // its result is not used
    attachment_name_list.clear();
    const std::vector<mail_attachments::parameter> entries = email_attachment_filelist(message);
    const std::vector<QByteArrayView> bodies = mail_attachments::bodies(message, entries);
    for (std::size_t i = 0; i < entries.size() && !bool_cancel_extraction.is_set(); ++i) {
        if (bodies[i].isNull())
            continue;
        const QString wanted = mail_attachments::name_in(entries[i].text);
        const QString name = attachment_names->next(wanted.mid(wanted.lastIndexOf(u'/') + 1), bool_cancel_extraction);
        if (name.isEmpty() && bool_cancel_extraction.is_set())
            break;
        emlx_attachment_output(name, bodies[i], attachments_dir_path);
        attachment_name_list.append(name); // even if no file could be written
    }
}

bool gmail_gtakeoutos::email_attachment_exists(const mail_marks &message)
{
    const log_span span("[email_attachment_exists] -Start", "[email_attachment_exists] -End");
    return is_found(message.base64_lower) || is_found(message.base64_upper);
}

std::vector<mail_attachments::parameter> gmail_gtakeoutos::email_attachment_filelist(const mail_marks &message)
{
    const log_span span("[email_attachment_filelist] -Start", "[email_attachment_filelist] -End");
    mail_attachments::parameter_list list = mail_attachments::parameters(message);
    if (list.left_out > 0)
        log_line("[email_attachment_filelist] ----FAILED---- too many on one line, left out: ",
                 QString::number(list.left_out));
    if (list.left_out_of_message > 0)
        log_line("[email_attachment_filelist] ----FAILED---- too many in one message, left out: ",
                 QString::number(list.left_out_of_message));
    return std::move(list.entries);
}

/// A body that decodes to nothing writes no file.
void gmail_gtakeoutos::emlx_attachment_output(const QString &name, QByteArrayView body, const QString &dir)
{
    const log_span span("[emlx_attachment_output] -Start", "[emlx_attachment_output] -End");
    const QByteArray decoded = emlx_decode_base64(body);
    if (decoded.isEmpty())
        return;
    // NewOnly: a link or a file that has appeared there is neither followed nor overwritten.
    QFile file(dir + name);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
        log_line("[emlx_attachment_output] File Open Failed:", file.fileName());
        log_line("[emlx_attachment_output] Error:", file.errorString());
        return;
    }
    attachment_names->created(name);
    if (file.write(decoded) != decoded.size() || !file.flush()) {
        log_line("[emlx_attachment_output] File Write ----FAILED----:", file.fileName());
        log_line("[emlx_attachment_output] Error:", file.errorString());
    }
    file.close();
}
