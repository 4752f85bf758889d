#include "extractors/takeout/mail_body.h"

namespace mail_body {

namespace {

constexpr QByteArrayView blank_line_mark("\n\r\n");
constexpr QByteArrayView part_end_mark("\n\r\n------=");

bool is_plain_text(QByteArrayView type)
{
    const QString text = QString::fromLocal8Bit(type).trimmed();
    return text == QLatin1StringView("Content-Type: text/plain") ||
           text == QLatin1StringView("Content-Type: TEXT/PLAIN");
}

/// Like QString::replace with a shorter text, but in one pass: Qt moves the rest of the text once per thousand matches,
/// which takes hours for a text that is made of little else.
void replace_all(QString &text, QStringView sought, QStringView replacement)
{
    qsizetype from = text.indexOf(sought);
    if (from < 0)
        return;
    QChar *const begin = text.data();
    const QStringView all(begin, text.size());
    QChar *to = begin + from;
    const auto keep = [&to](QStringView piece) { to = std::copy(piece.begin(), piece.end(), to); };
    while (from < all.size()) {
        const qsizetype found = all.indexOf(sought, from);
        keep(all.sliced(from, (found < 0 ? all.size() : found) - from));
        if (found < 0)
            break;
        keep(replacement);
        from = found + sought.size();
    }
    text.truncate(to - begin);
}

} // namespace

QByteArrayView bytes_before_xml(const mail_marks &message)
{
    const qsizetype empty_line = find_bytes(message.bytes, "\n\n");
    const qsizetype xml = find_bytes(message.bytes, "<?xml", empty_line);
    return is_found(empty_line) && xml > empty_line ? message.bytes.sliced(empty_line, xml - empty_line)
                                                    : QByteArrayView();
}

QByteArrayView first_paragraph(const mail_marks &message)
{
    const qsizetype blank_line = find_bytes(message.bytes, blank_line_mark, message.content_types.front());
    if (!is_found(blank_line))
        return {};
    const qsizetype begin = blank_line + blank_line_mark.size();
    const qsizetype end = find_bytes(message.bytes, blank_line_mark, begin);
    return end < 0 ? QByteArrayView() : message.bytes.sliced(begin, end - begin);
}

std::vector<plain_part> plain_parts(const mail_marks &message)
{
    std::vector<plain_part> parts;
    rising_search semicolons(message.bytes, ";");
    rising_search blank_lines(message.bytes, blank_line_mark);
    rising_search part_ends(message.bytes, part_end_mark);
    qsizetype position = 0;
    for (const qsizetype content_type : message.content_types) {
        if (message.is_cancelled())
            break;
        if (content_type < position)
            continue; // inside the previous header, whose type goes up to the ";" after this one
        const qsizetype semicolon = semicolons.at_or_behind(content_type);
        if (!is_found(content_type) || semicolon < 0)
            break;
        position = semicolon;
        if (!is_plain_text(message.bytes.sliced(content_type, semicolon - content_type)))
            continue;
        plain_part part;
        part.blank_line = blank_lines.at_or_behind(semicolon);
        if (part.blank_line >= 0) {
            const qsizetype begin = part.blank_line + blank_line_mark.size();
            const qsizetype end = part_ends.at_or_behind(begin);
            if (end >= 0)
                part.body = message.bytes.sliced(begin, end - begin);
        }
        parts.push_back(part);
    }
    return parts;
}

QString normalized(QString text)
{
    replace_all(text, u"=E2=80=9C", u"\"");
    replace_all(text, u"=E2=80=9D", u"\"");
    replace_all(text, u"=E2=80=99", u"'");
    replace_all(text, u"=\n", u"");
    replace_all(text, u"=E2=80=94", u"-");
    QByteArray bytes = text.toLocal8Bit();
    text = QString(); // the memory of a giant text is needed twice below
    bytes = QByteArray::fromPercentEncoding(bytes);
    return QString::fromLocal8Bit(bytes);
}

} // namespace mail_body
