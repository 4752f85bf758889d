#include "host/results/report_details.h"

#include "host/results/attachment_kind.h"

namespace {

constexpr qsizetype max_text = 4 << 20; // bytes of a text in a report; the page says when there are more

void write_number(json_text &out, const char *key, const std::optional<qint64> &value)
{
    out.key(key);
    if (value)
        out.number(*value);
    else
        out.null();
}

void write_text(json_text &out, const char *key, const QByteArray &value)
{
    out.key(key);
    qsizetype size = qMin(value.size(), max_text);
    while (size < value.size() && size > 0 && (static_cast<uchar>(value.at(size)) & 0xc0) == 0x80)
        --size; // not within a character
    out.text_or_null(QByteArrayView(value).first(size));
}

void write_all(json_text &out, std::initializer_list<QByteArrayView> texts)
{
    out.begin_list();
    for (const QByteArrayView text : texts)
        out.text_or_null(text);
    out.end_list();
}

void write_fields(json_text &out, const report_mail &mail)
{
    const std::pair<const char *, const QByteArray &> texts[] = {
        {"sha256", mail.sha256},       {"message_id", mail.message_id}, {"in_reply_to", mail.in_reply_to},
        {"thread_id", mail.thread_id}, {"date_text", mail.date_text},   {"subject", mail.subject},
        {"row_note", mail.row_note},   {"problems", mail.problems},
    };
    for (const auto &[key, value] : texts)
        write_text(out, key, value);
    const std::pair<const char *, std::optional<qint64>> numbers[] = {
        {"ordinal", mail.ordinal}, {"offset", mail.offset}, {"length", mail.length}};
    for (const auto &[key, value] : numbers)
        write_number(out, key, value);
    const QByteArray &shown = mail.text.isEmpty() ? mail.html_text : mail.text;
    write_text(out, "text", shown);
    write_number(out, "text_bytes", shown.size());
    write_number(out, "text_of_html", mail.text.isEmpty() && !mail.html.isEmpty() ? 1 : 0);
    write_number(out, "html_bytes", mail.html.size());
}

void write_parts(json_text &out, const report_mail &mail)
{
    out.key("parts");
    out.begin_list();
    for (const report_mail::part &part : mail.parts) {
        out.begin_object();
        write_text(out, "path", part.path);
        write_text(out, "type", part.media_type);
        write_text(out, "charset", part.charset);
        write_text(out, "name", part.name);
        write_text(out, "disposition", part.disposition);
        write_text(out, "content_id", part.content_id);
        write_text(out, "encoding", part.encoding);
        write_text(out, "sha256", part.sha256);
        write_text(out, "file", part.file);
        write_number(out, "size", part.size < 0 ? std::nullopt : std::optional(part.size));
        write_number(out, "kind", static_cast<int>(kind_of_attachment(part.media_type, part.name)));
        write_number(out, "is_text", part.is_text ? 1 : 0);
        out.end_object();
    }
    out.end_list();
}

/// `snippet` is often the same long text as `message_text`: then it is only marked as the same.
void write_row(json_text &out, const report_mail &mail)
{
    QByteArray message_text;
    for (const report_mail::row_value &each : mail.row_values) {
        if (each.column == "message_text")
            message_text = each.value;
    }
    out.key("row_values");
    out.begin_list();
    for (const report_mail::row_value &each : mail.row_values) {
        out.begin_list();
        out.text(QByteArrayView(each.column));
        if (each.column == "snippet" && each.value == message_text)
            out.null();
        else
            out.text(QByteArrayView(each.value).first(qMin(each.value.size(), max_text)));
        out.end_list();
    }
    out.end_list();
}

} // namespace

void write_details(json_text &out, const report_mail &mail)
{
    out.begin_object();
    write_fields(out, mail);
    out.key("addresses");
    out.begin_list();
    for (const report_mail::address &each : mail.addresses)
        write_all(out, {each.role, each.name, each.address});
    out.end_list();
    out.key("references");
    out.begin_list();
    for (const QByteArray &each : mail.references)
        out.text(QByteArrayView(each));
    out.end_list();
    write_parts(out, mail);
    write_row(out, mail);
    out.key("differences");
    out.begin_list();
    for (const report_mail::difference &each : mail.differences)
        write_all(out, {each.field, each.kind, each.explanation});
    out.end_list();
    out.key("files");
    out.begin_list();
    for (const report_mail::stored_file &each : mail.files)
        write_all(out, {each.file, each.kind, each.part_path});
    out.end_list();
    out.end_object();
}

void write_source(json_text &out, const report_mail &mail)
{
    out.begin_object();
    write_text(out, "headers", mail.headers);
    write_number(out, "headers_bytes", mail.headers.size());
    write_text(out, "html", mail.html);
    write_number(out, "html_bytes", mail.html.size());
    out.end_object();
}
