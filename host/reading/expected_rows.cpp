#include "host/reading/expected_rows.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QIODevice>

#include <algorithm>

namespace {

constexpr qsizetype size_of_digest = 16;
constexpr QByteArrayView byte_order_mark("\xEF\xBB\xBF");

/// Rows made of one mail whose values are foreseen; rows after them are matched by their order alone.
constexpr std::size_t max_foreseen_rows = 10'000;

/// The path of the part in whose header a position of the mail is; empty when it is in none.
QByteArray part_with_header_at(const mail_record &mail, qint64 position)
{
    const mail_part *innermost = nullptr;
    for (const mail_part &part : mail.parts) {
        if (part.header_begin >= 0 && position >= part.header_begin && position < part.content_begin)
            innermost = &part;
    }
    return innermost ? innermost->path : QByteArray();
}

QByteArrayList parts_of_attachments(const mail_record &mail, const cut_message &message, qsizetype offset)
{
    QByteArrayList paths;
    for (const qsizetype position : message.row.attachments)
        paths.append(part_with_header_at(mail, offset + message.bytes.stored_position(position)));
    return paths;
}

} // namespace

QByteArray digest_of(const row_values &row, qsizetype files)
{
    QCryptographicHash hash(QCryptographicHash::Blake2b_160);
    for (const QByteArray *value :
         {&row.subject, &row.from_list, &row.to_list, &row.cc_list, &row.timestamp, &row.message_text}) {
        // SQLite drops a byte order mark at the beginning of a text.
        const QByteArrayView text = value->startsWith(byte_order_mark) ? QByteArrayView(*value).sliced(3) : *value;
        const qint64 size = text.size();
        hash.addData({reinterpret_cast<const char *>(&size), sizeof size});
        hash.addData(text);
    }
    hash.addData(QByteArray::number(files));
    return hash.result().first(size_of_digest);
}

void foresee_rows(mail_record &mail, QByteArrayView bytes)
{
    const std::vector<qsizetype> begins = separator_lines(bytes);
    const bool is_read = !mail.headers.isEmpty();
    for (std::size_t i = 0; i < std::min(begins.size(), max_foreseen_rows); ++i) {
        const qsizetype end = i + 1 < begins.size() ? begins[i + 1] : bytes.size();
        const cut_message message(bytes.sliced(begins[i], end - begins[i]));
        expected_row row;
        row.attachment_parts = parts_of_attachments(mail, message, begins[i]);
        if (i == 0 && is_read)
            row.differences = begins.size() == 1 ? explained_differences(mail, message, message)
                                                 : explained_differences(mail, message, cut_message(bytes));
        mail.foreseen_rows.append({digest_of(values_of(message.row), row.attachment_parts.size()), packed(row)});
    }
}

QByteArray packed(const expected_row &row)
{
    if (row.differences.isEmpty() && row.attachment_parts.isEmpty())
        return {};
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << qint32(row.differences.size());
    for (const row_difference &each : row.differences)
        stream << each.field << each.kind << each.explanation;
    stream << row.attachment_parts;
    return bytes;
}

expected_row unpacked(const QByteArray &bytes)
{
    expected_row row;
    QDataStream stream(bytes);
    qint32 count = 0;
    stream >> count;
    for (qint32 i = 0; i < count && stream.status() == QDataStream::Ok; ++i) {
        row_difference each;
        stream >> each.field >> each.kind >> each.explanation;
        row.differences.append(each);
    }
    stream >> row.attachment_parts;
    return row;
}
