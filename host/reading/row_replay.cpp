#include "host/reading/row_replay.h"

#include "common/base64.h"
#include "extractors/takeout/local_text.h"
#include "extractors/takeout/mail_body.h"
#include "extractors/takeout/mail_headers.h"

#include <algorithm>

using mail_body::is_found;

namespace {

constexpr QLatin1StringView to_name("To: ");
constexpr QLatin1StringView cc_name("Cc: ");

/// The first line of `lines`, line feed included.
QByteArrayView first_line(QByteArrayView lines)
{
    const qsizetype line_feed = lines.indexOf('\n');
    return line_feed < 0 ? lines : lines.first(line_feed + 1);
}

byte_range range_in(QByteArrayView all, QByteArrayView piece)
{
    const qsizetype begin = piece.data() - all.data();
    return {begin, begin + piece.size()};
}

QString header_at(const mail_marks &message, qsizetype mark)
{
    return is_found(mark) ? mail_headers::line_at(message.bytes, mark).text : QString();
}

QString recipients_at(const mail_marks &message, qsizetype begin, QLatin1StringView name)
{
    mail_headers::line line = mail_headers::line_at(message.bytes, begin);
    qsizetype end = line.end;
    const auto next_line = [&message, &end](QString &text) {
        const bool goes_on = end >= 0 && end + 1 < message.bytes.size();
        const mail_headers::line next = mail_headers::line_at(message.bytes, end + 1);
        text += next.end < 0 ? QString::fromLocal8Bit(message.bytes.sliced(end + 1)) : next.text;
        end = next.end;
        return goes_on;
    };
    QString text = mail_headers::unfolded(std::move(line.text), next_line);
    return mail_headers::recipient_names(mail_headers::without_name(std::move(text), name));
}

void replay_headers(const mail_marks &message, replayed_row &row)
{
    const qsizetype to = is_found(message.to) ? message.to + 1 : -1;
    row.to = {recipients_at(message, to, to_name), to};
    row.from = {mail_headers::sender_name(
                    mail_headers::without_name(header_at(message, message.from), QLatin1StringView("From: "))),
                message.from};
    row.subject = {
        mail_headers::without_name(header_at(message, message.subject), QLatin1StringView("Subject: ")).trimmed(),
        message.subject};
    row.cc = {recipients_at(message, is_found(message.cc) ? message.cc : -1, cc_name), message.cc};
    const QString date =
        mail_headers::without_name(header_at(message, message.date).trimmed(), QLatin1StringView("Date: ")).trimmed();
    row.date = {QString::number(mail_headers::epoch_of_date(date)), message.date};
}

replayed_text single_part_text(const mail_marks &message)
{
    replayed_text text;
    QByteArrayView bytes;
    if (message.content_types.empty() || !is_found(message.content_types.front())) {
        bytes = mail_body::bytes_before_xml(message);
    } else {
        text.content_type = message.content_types.front();
        bytes = mail_body::first_paragraph(message);
        text.rule = text_rule::first_paragraph;
        if (bytes.isNull()) {
            const bool has_body = find_bytes(message.bytes, "\n\r\n", text.content_type) >= 0;
            text.rule = has_body ? text_rule::no_paragraph_end : text_rule::no_blank_line;
        }
        text.from_base64 = is_found(message.base64_upper) || is_found(message.base64_lower);
    }
    if (bytes.isNull())
        return text;
    text.bytes = range_in(message.bytes, bytes);
    text.value = QString::fromLocal8Bit(text.from_base64 ? decoded_base64(bytes).trimmed() : bytes.toByteArray());
    if (!text.from_base64)
        text.value = std::move(text.value).trimmed();
    return text;
}

replayed_text multipart_text(const mail_marks &message)
{
    const std::vector<mail_body::plain_part> parts = mail_body::plain_parts(message);
    replayed_text text;
    text.rule = text_rule::no_plain_part;
    if (parts.empty())
        return text;
    const mail_body::plain_part &last = parts.back();
    if (last.body.isNull()) {
        text.rule = last.blank_line < 0 ? text_rule::no_part_begin : text_rule::no_boundary;
        return text;
    }
    text.rule = text_rule::last_plain_part;
    text.bytes = range_in(message.bytes, last.body);
    const QByteArrayView before = message.bytes.first(last.blank_line).last(qMin<qsizetype>(last.blank_line, 6));
    text.from_base64 = is_found(message.base64_plain_upper) || is_found(message.base64_plain_lower) ||
                       before == "base64" || before == "Base64";
    QString value = QString::fromLocal8Bit(last.body).trimmed();
    if (text.from_base64)
        value = QString::fromLocal8Bit(decoded_base64(value.toLocal8Bit()));
    text.value = mail_body::normalized(value);
    text.normalized = text.value != value;
    return text;
}

void replay_attachments(const mail_marks &message, replayed_row &row)
{
    if (message.file_names.empty())
        return;
    const std::vector<mail_attachments::parameter> entries = mail_attachments::parameters(message).entries;
    const std::vector<QByteArrayView> bodies = mail_attachments::bodies(message, entries);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (bodies[i].isNull())
            continue;
        row.attachments.push_back(entries[i].position);
        row.attachment_bodies.push_back(range_in(message.bytes, bodies[i]));
    }
}

} // namespace

parsed_bytes::parsed_bytes(QByteArrayView stored)
    : original(stored)
{
    for (QByteArrayView lines = stored; !lines.isEmpty();) {
        const qsizetype surviving = local_text::surviving_lines(lines);
        if (surviving == lines.size() && changed_lines.empty())
            return;
        copy.append(lines.first(surviving));
        if (surviving == lines.size())
            return;
        const QByteArrayView odd_line = first_line(lines.sliced(surviving));
        const qsizetype begin = copy.size();
        copy.append(local_text::converted(odd_line));
        changed_lines.push_back({begin, odd_line.data() - stored.data(), odd_line.size(), copy.size()});
        lines = lines.sliced(surviving + odd_line.size());
    }
}

qsizetype parsed_bytes::stored_position(qsizetype position) const
{
    const auto after = std::upper_bound(changed_lines.cbegin(), changed_lines.cend(), position,
                                        [](qsizetype sought, const changed_line &line) { return sought < line.begin; });
    if (after == changed_lines.cbegin())
        return position;
    const changed_line &line = *std::prev(after);
    return position < line.end ? line.stored_begin + qMin(position - line.begin, line.stored_size - 1)
                               : line.stored_begin + line.stored_size + (position - line.end);
}

replayed_row replay_row(QByteArrayView parsed)
{
    replayed_row row;
    if (parsed.trimmed().isEmpty())
        return row;
    const mail_marks message(parsed);
    replay_headers(message, row);
    row.text = is_found(message.multipart) ? multipart_text(message) : single_part_text(message);
    replay_attachments(message, row);
    return row;
}

std::vector<qsizetype> separator_lines(QByteArrayView bytes)
{
    constexpr QByteArrayView mark("From ");
    constexpr QByteArrayView marked_mark("\xEF\xBB\xBF"
                                         "From ");
    std::vector<qsizetype> places;
    for (qsizetype line = 0; line < bytes.size();) {
        const QByteArrayView rest = bytes.sliced(line);
        if (rest.startsWith(mark) || rest.startsWith(marked_mark))
            places.push_back(line);
        const qsizetype line_feed = bytes.indexOf('\n', line);
        line = line_feed < 0 ? bytes.size() : line_feed + 1;
    }
    return places;
}
