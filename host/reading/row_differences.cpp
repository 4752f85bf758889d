#include "host/reading/row_differences.h"

#include "host/reading/address_differences.h"
#include "host/reading/header_lines.h"
#include "host/reading/text_differences.h"

namespace {

/// A sentence of fixed words with texts of the mail between them.
template <class... Texts>
QByteArray sentence(const Texts &...texts)
{
    QByteArray all;
    (all.append(texts), ...);
    return all;
}

value_reading subject_read(const QString &of_row, const QString &of_mail, const mark_place &place)
{
    if (of_row.isEmpty())
        return {"missing", "The subject begins on the second line of its field; only the first line is read."};
    if (of_mail.isEmpty())
        return {"surplus", "The row has the field as written; nothing is left once it is decoded."};
    const bool encoded = of_row.contains(QLatin1StringView("=?"));
    if (place.continues)
        return {"shortened", encoded
                                 ? "Only the first line of the folded subject is stored, with its MIME words undecoded."
                                 : "Only the first line of the folded subject is stored."};
    if (encoded)
        return {"undecoded", "MIME words (=?...?=) are stored as written."};
    if (has_other_letters(of_row))
        return {"undecoded", "The subject's bytes are not UTF-8 but are read as if they were."};
    return {"other", "The subject is stored as written in the file."};
}

value_reading date_read(const QString &of_row, const mail_record &mail)
{
    const QByteArray written = mail.date_text.simplified();
    if (!mail.date)
        return {"surplus", "The row has a date although the field is not a valid date."};
    if (of_row == u"0")
        return {"missing", sentence("The date is written \"", written,
                                    "\"; only the form \"Mon, 8 Jan 2024 09:30:00 +0100\", with the weekday that "
                                    "matches the date, is read.")};
    return {"other", sentence("The offset of the date \"", written,
                              "\" is read as two digits of hours and two of minutes after the first \"+\" or \"-\".")};
}

/// Why the row has nothing, or a text from elsewhere.
QByteArray why_not_the_field(const mark_place &place, QByteArrayView mark, bool nothing)
{
    if (place.where == mark_place::nowhere)
        return sentence("No line of the message contains \"", mark, "\", written exactly like that.");
    const QByteArray where = place.where == mark_place::body        ? QByteArray("in the mail's body")
                             : place.where == mark_place::separator ? QByteArray("in the \"From \" line")
                                                                    : "in the header field " + place.field_name;
    return sentence("The first \"", mark, "\" of the message is ", where,
                    nothing ? ", with nothing readable after it." : ", and the row has the text after it.");
}

/// The header fields of one mail against those of its row.
class header_comparison
{
public:
    header_comparison(const cut_message &cut_mail, const cut_message &whole_mail, QList<row_difference> &result)
        : cut(cut_mail)
        , whole(whole_mail)
        , differences(result)
    {
    }

    /// A field that differs. `read` gives kind and reason when the field's own line was taken.
    template <class Read>
    void add(QByteArrayView field, QByteArrayView mark, replayed_value replayed_row::*member, bool mail_has_it,
             Read read)
    {
        const replayed_value &taken = cut.row.*member;
        const mark_place place = place_of_mark(cut.bytes.view(), taken.mark, mark);
        const bool nothing = taken.value.isEmpty() || (field == "timestamp" && taken.value == u"0");
        const QByteArray kind = nothing ? "missing" : mail_has_it ? "other" : "surplus";
        if ((whole.row.*member).value != taken.value)
            differences.append({field.toByteArray(), kind, cut_inside.toByteArray()});
        else if (place.where != mark_place::own_field)
            differences.append({field.toByteArray(), kind, why_not_the_field(place, mark, nothing)});
        else {
            const value_reading reading = read(taken.value, place);
            differences.append({field.toByteArray(), reading.kind, reading.why});
        }
    }

private:
    const cut_message &cut;
    const cut_message &whole;
    QList<row_difference> &differences;
};

bool is_date(const QString &of_row, const std::optional<qint64> &date)
{
    return of_row.toLongLong() == date.value_or(0);
}

/// How a value of the row differs from the mail's, as far as the two show it.
QByteArray plain_kind(const QString &of_row, const QString &of_mail)
{
    if (of_row.isEmpty())
        return "missing";
    if (of_mail.isEmpty())
        return "surplus";
    return of_mail.startsWith(of_row) ? "shortened" : "other";
}

} // namespace

row_values values_of(const replayed_row &row)
{
    return {row.subject.value.toUtf8(), row.from.value.toUtf8(), row.to.value.toUtf8(),
            row.cc.value.toUtf8(),      row.date.value.toUtf8(), row.text.value.toUtf8()};
}

QList<row_difference> explained_differences(const mail_record &mail, const cut_message &cut, const cut_message &whole)
{
    QList<row_difference> differences;
    header_comparison headers(cut, whole, differences);
    const QString subject = trimmed_text(mail.subject);
    if (cut.row.subject.value != subject)
        headers.add(
            "subject", "Subject: ", &replayed_row::subject, !subject.isEmpty(),
            [&](const QString &of_row, const mark_place &place) { return subject_read(of_row, subject, place); });
    const QList<mail_address> senders = addresses_of(mail, "from");
    if (!is_sender(cut.row.from.value, senders))
        headers.add(
            "from_list", "From: ", &replayed_row::from, !senders.isEmpty(),
            [&](const QString &of_row, const mark_place &place) { return sender_read(of_row, senders, place); });
    const auto compare_recipients = [&](QByteArrayView field, QByteArrayView role, QByteArrayView mark,
                                        replayed_value replayed_row::*member) {
        const QList<mail_address> recipients = addresses_of(mail, role);
        if (!are_recipients((cut.row.*member).value, recipients))
            headers.add(field, mark, member, !recipients.isEmpty(),
                        [&](const QString &of_row, const mark_place &place) {
                            return recipients_read(of_row, recipients, place);
                        });
    };
    compare_recipients("to_list", "to", "To: ", &replayed_row::to);
    compare_recipients("cc_list", "cc", "Cc: ", &replayed_row::cc);
    if (!is_date(cut.row.date.value, mail.date))
        headers.add("timestamp", "Date: ", &replayed_row::date, mail.date.has_value(),
                    [&](const QString &of_row, const mark_place &) { return date_read(of_row, mail); });
    if (std::optional<row_difference> text = text_difference(mail, cut, whole))
        differences.append(*text);
    return differences;
}

QList<row_difference> plain_differences(const mail_record &mail, const row_values &row)
{
    static const QByteArray why =
        "The row has neither the mail's value nor the one that the extraction makes of this mail: "
        "the row was changed, or it was "
        "made of several messages after an insert had failed.";
    QList<row_difference> differences;
    const auto add = [&differences](QByteArrayView field, const QByteArray &kind) {
        differences.append({field.toByteArray(), kind, why});
    };
    const QString subject = trimmed_text(mail.subject);
    const QString of_row = QString::fromUtf8(row.subject);
    if (of_row != subject)
        add("subject", plain_kind(of_row, subject));
    const QList<mail_address> senders = addresses_of(mail, "from");
    const QString sender = QString::fromUtf8(row.from_list);
    if (!is_sender(sender, senders))
        add("from_list", plain_kind(sender, senders.isEmpty() ? QString() : trimmed_text(senders.first().name)));
    const auto compare_recipients = [&](QByteArrayView field, QByteArrayView role, const QByteArray &names) {
        const QList<mail_address> recipients = addresses_of(mail, role);
        if (!are_recipients(QString::fromUtf8(names), recipients))
            add(field, names.isEmpty() ? "missing" : recipients.isEmpty() ? "surplus" : "other");
    };
    compare_recipients("to_list", "to", row.to_list);
    compare_recipients("cc_list", "cc", row.cc_list);
    if (row.timestamp.toLongLong() != mail.date.value_or(0))
        add("timestamp", row.timestamp.toLongLong() == 0 ? "missing" : mail.date ? "other" : "surplus");
    const QString text = comparable_text(QString::fromUtf8(row.message_text));
    const QString text_of_mail = comparable_text(QString::fromUtf8(mail.text));
    if (text != text_of_mail)
        add("message_text", kind_of_text(text, text_of_mail));
    return differences;
}
