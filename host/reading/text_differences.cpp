#include "host/reading/text_differences.h"

#include <algorithm>

namespace {

/// The part that contains this position of the mail; null when it is in none.
const mail_part *part_at(const mail_record &mail, qint64 position)
{
    const mail_part *innermost = nullptr;
    for (const mail_part &part : mail.parts) {
        // Parts of an embedded message come after it and are inside it.
        if (part.content_begin >= 0 && position >= part.content_begin && position <= part.content_end)
            innermost = &part;
    }
    return innermost;
}

/// The part that `mail.text` is made of; null when there is none.
const mail_part *text_part(const mail_record &mail)
{
    const auto is_it = [](const mail_part &part) { return part.is_text && part.media_type == "text/plain"; };
    const auto found = std::find_if(mail.parts.cbegin(), mail.parts.cend(), is_it);
    return found == mail.parts.cend() ? nullptr : &*found;
}

QByteArray named(const mail_part &part)
{
    return "part " + part.path + " (" + part.media_type + ')';
}

bool is_utf8(QByteArrayView charset)
{
    return charset.isEmpty() || charset == "utf-8" || charset == "utf8" || charset == "us-ascii" || charset == "ascii";
}

/// Finds out what the extraction did to one text.
class text_explainer
{
public:
    text_explainer(const mail_record &of_mail, const cut_message &message)
        : mail(of_mail)
        , text(message.row.text)
        , bytes(message.bytes)
        , source(text.bytes.begin < 0 ? nullptr : part_at(of_mail, bytes.stored_position(text.bytes.begin)))
        , wanted(text_part(of_mail))
    {
    }

    [[nodiscard]] QByteArray why_nothing() const;
    [[nodiscard]] QByteArray why_without_text() const;
    [[nodiscard]] row_difference why_other(const QString &of_row, const QString &of_mail) const;

private:
    [[nodiscard]] bool has_more(qint64 begin, qint64 end) const;
    [[nodiscard]] row_difference why_other_extent(const QString &of_row, const QString &of_mail) const;
    [[nodiscard]] row_difference why_other_letters(const QString &of_row, const QString &of_mail) const;
    [[nodiscard]] QByteArray undecoded() const;
    [[nodiscard]] bool precedes_parts() const;

    const mail_record &mail;
    const replayed_text &text;
    const parsed_bytes &bytes;
    const mail_part *source;
    const mail_part *wanted;
};

QByteArray text_explainer::why_nothing() const
{
    switch (text.rule) {
    case text_rule::no_content_type:
        return "No line of the message contains \"Content-Type: \", written exactly like that, so no text is looked "
               "for.";
    case text_rule::no_blank_line:
        return bytes.view().contains("\n\r\n")
                   ? "No blank line follows the first \"Content-Type: \" of the message."
                   : "The mail's lines end in bare line feeds; the text is looked for after a blank line with CRLF.";
    case text_rule::no_paragraph_end:
        return "No blank line (CRLF) follows the text, where its end is looked for.";
    case text_rule::first_paragraph:
        return text.from_base64 ? "Only the first paragraph is read, and it decodes to nothing."
                                : "The text of a mail that is not multipart ends at its first blank line, and nothing "
                                  "precedes that line.";
    case text_rule::no_plain_part:
        return "No part is marked \"Content-Type: text/plain;\", written exactly like that, with the semicolon.";
    case text_rule::no_part_begin:
        return "No blank line (CRLF) follows the header of the last text/plain part.";
    case text_rule::no_boundary:
        return "After the last text/plain part there is no blank line followed by a boundary that begins with "
               "\"------=\", where the text would end.";
    case text_rule::last_plain_part:
        break;
    }
    return "Of the text/plain parts the last one counts, and it is empty.";
}

/// True for a text that is taken from before the first part of a multipart mail.
bool text_explainer::precedes_parts() const
{
    return text.rule == text_rule::first_paragraph && !source && mail.parts.size() > 1 &&
           mail.parts.first().header_begin > bytes.stored_position(text.bytes.begin);
}

constexpr char before_first_part[] =
    "The mail is not recognised as multipart, since \"Content-Type: multipart\" is not "
    "written exactly like that; the row has "
    "the text before its first part.";

/// The mail has no plain text, but the row has one.
QByteArray text_explainer::why_without_text() const
{
    if (precedes_parts())
        return before_first_part;
    const QByteArray place = source ? ", here " + named(*source) : QByteArray();
    if (text.rule == text_rule::last_plain_part)
        return "The mail has no plain text of its own; the row has the last part that is marked text/plain" + place +
               '.';
    if (text.rule == text_rule::first_paragraph)
        return "The mail has no plain text; the row has the first paragraph after the first \"Content-Type: \"" +
               place + '.';
    return "The mail has no plain text; the row has the text before \"<?xml\".";
}

/// True when there is more than blanks between two places of the mail.
bool text_explainer::has_more(qint64 begin, qint64 end) const
{
    const QByteArrayView all = bytes.stored();
    begin = qBound<qint64>(0, begin, all.size());
    end = qBound<qint64>(begin, end, all.size());
    return !all.sliced(begin, end - begin).trimmed().isEmpty();
}

QByteArray text_explainer::undecoded() const
{
    if (wanted->encoding == "quoted-printable")
        return "quoted-printable";
    if (wanted->encoding == "base64" && !text.from_base64)
        return "base64";
    return {};
}

row_difference text_explainer::why_other(const QString &of_row, const QString &of_mail) const
{
    if (precedes_parts())
        return {"message_text", "other", before_first_part};
    if (!source || !wanted)
        return {"message_text", kind_of_text(of_row, of_mail),
                text.rule == text_rule::last_plain_part
                    ? "The row has the text between the last line marked text/plain and the next \"------=\" boundary."
                    : "The row has the first paragraph after the first \"Content-Type: \" anywhere in the message."};
    if (source != wanted)
        return {"message_text", "other",
                (text.rule == text_rule::last_plain_part
                     ? QByteArray("Of several parts marked text/plain the last one counts, here ")
                     : QByteArray("The row has the first paragraph after the first \"Content-Type: \" of the message, "
                                  "here in ")) +
                    named(*source) + '.'};
    const row_difference extent = why_other_extent(of_row, of_mail);
    return extent.kind.isEmpty() ? why_other_letters(of_row, of_mail) : extent;
}

/// The text comes from the right part, but is less or more than it; without a kind when all of it was taken.
row_difference text_explainer::why_other_extent(const QString &, const QString &) const
{
    const qint64 begin = bytes.stored_position(text.bytes.begin);
    const qint64 end = bytes.stored_position(text.bytes.end);
    const QByteArray encoding = undecoded();
    const QByteArray and_undecoded = encoding.isEmpty() ? QByteArray() : ", still in " + encoding;
    const bool is_paragraph = text.rule == text_rule::first_paragraph;
    if (has_more(end, wanted->content_end))
        return {"message_text", "shortened",
                (is_paragraph ? QByteArray("Of a mail that is not multipart only the first paragraph is stored")
                              : QByteArray("The text is taken to end at a blank line followed by \"------=\"")) +
                    and_undecoded + '.'};
    if (has_more(wanted->content_begin, begin))
        return {"message_text", "shortened",
                "The text is looked for after the first blank line that follows a \"Content-Type: \" inside it" +
                    and_undecoded + '.'};
    if (has_more(wanted->content_end, end))
        return {"message_text", "surplus",
                "The text runs on past the end of its part, up to the next boundary that begins with \"------=\"" +
                    and_undecoded + '.'};
    return {};
}

/// All of the right part was taken, but its characters are not the mail's.
row_difference text_explainer::why_other_letters(const QString &of_row, const QString &of_mail) const
{
    const QByteArray encoding = undecoded();
    if (encoding == "quoted-printable")
        return {"message_text", "undecoded",
                text.normalized ? "Quoted-printable is stored as written, apart from a few typographic signs and "
                                  "percent escapes."
                                : "Quoted-printable is stored as written."};
    if (encoding == "base64")
        return {"message_text", "undecoded",
                "The text is stored as base64: its encoding is recognised only where lines end in bare line feeds."};
    if (text.from_base64 && wanted->encoding != "base64")
        return {"message_text", "other",
                "The text is decoded as base64 because \"Content-Transfer-Encoding: base64\" is found elsewhere in the "
                "message."};
    if (!is_utf8(wanted->charset) || of_row.contains(QChar::ReplacementCharacter))
        return {"message_text", "undecoded",
                wanted->charset.isEmpty() ? QByteArray("The text's bytes are not UTF-8 but are read as if they were.")
                                          : "The text's bytes are read as UTF-8, not as " + wanted->charset + '.'};
    if (text.normalized)
        return {"message_text", "other", "Percent escapes such as %20 are resolved in the text of multipart mails."};
    if (of_row.contains(QLatin1StringView(">From ")))
        return {"message_text", "undecoded",
                "A line that begins with \">From \" keeps the \">\" that was put there when the mail was stored."};
    return {"message_text", kind_of_text(of_row, of_mail), "The text is stored as its bytes are in the file."};
}

} // namespace

QString comparable_text(const QString &text)
{
    return QString(text).replace(QLatin1StringView("\r\n"), QLatin1StringView("\n")).trimmed();
}

QByteArray kind_of_text(const QString &of_row, const QString &of_mail)
{
    if (of_row.isEmpty())
        return "missing";
    if (of_mail.isEmpty() || of_row.startsWith(of_mail))
        return "surplus";
    return of_mail.contains(of_row) ? "shortened" : "other";
}

std::optional<row_difference> text_difference(const mail_record &mail, const cut_message &cut, const cut_message &whole)
{
    const QString of_row = comparable_text(cut.row.text.value);
    const QString of_mail = comparable_text(QString::fromUtf8(mail.text));
    if (of_row == of_mail)
        return {};
    const text_explainer explainer(mail, cut);
    if (cut.row.text.value != whole.row.text.value)
        return row_difference{"message_text", kind_of_text(of_row, of_mail), cut_inside.toByteArray()};
    if (of_row.isEmpty())
        return row_difference{"message_text", "missing", explainer.why_nothing()};
    if (of_mail.isEmpty())
        return row_difference{"message_text", "surplus", explainer.why_without_text()};
    return explainer.why_other(of_row, of_mail);
}
