#include "host/reading/address_differences.h"

#include <algorithm>

namespace {

/// The name, or the address of somebody without a name.
QString shown_name(const mail_address &address)
{
    return trimmed_text(address.name.isEmpty() ? address.address : address.name);
}

QStringList shown_names(const QList<mail_address> &addresses)
{
    QStringList names;
    for (const mail_address &each : addresses)
        names.append(shown_name(each));
    return names;
}

/// A name as the header writes it, but without quotation marks and the backslashes inside them.
QString unquoted(const QString &name)
{
    QString text = name.trimmed();
    if (text.size() < 2 || !text.startsWith(u'"') || !text.endsWith(u'"'))
        return text;
    text = text.sliced(1, text.size() - 2);
    QString plain;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == u'\\' && i + 1 < text.size())
            ++i;
        plain += text.at(i);
    }
    return plain.trimmed();
}

QStringList pieces_of(const QString &list)
{
    QStringList pieces;
    for (const QString &piece : list.split(u',')) {
        if (!piece.trimmed().isEmpty())
            pieces.append(piece.trimmed());
    }
    return pieces;
}

/// True when `some` are names of `all`, in order, with names left out.
bool are_some_of(const QStringList &some, const QStringList &all)
{
    qsizetype at = 0;
    for (const QString &each : some) {
        at = all.indexOf(each, at);
        if (at < 0)
            return false;
        ++at;
    }
    return some.size() < all.size();
}

QByteArray why_other_recipients(const QString &of_row, const QList<mail_address> &recipients, const mark_place &place)
{
    const bool nameless = std::any_of(recipients.cbegin(), recipients.cend(),
                                      [](const mail_address &each) { return each.name.isEmpty(); });
    const bool comma_in_name = std::any_of(recipients.cbegin(), recipients.cend(),
                                           [](const mail_address &each) { return each.name.contains(','); });
    if (recipients.size() == 1 && of_row.endsWith(u'>'))
        return "An address in angle brackets without a name keeps its closing bracket.";
    if (nameless)
        return "Names and addresses are paired by position: a recipient without a name shifts those after it.";
    if (comma_in_name)
        return "The list is cut at every comma, even inside a name.";
    if (place.lines == 1 && place.first_line.contains(','))
        return "A line of recipients that contains a comma is read together with the next line, here of another field.";
    if (place.continues)
        return "A folded list of recipients is read only as long as its lines, except the first, end in a comma.";
    return "The list is cut at every comma and \"<\", and every second piece is kept as written.";
}

} // namespace

QString trimmed_text(const QByteArray &utf8)
{
    return QString::fromUtf8(utf8).trimmed();
}

bool has_mime_word(const QString &text)
{
    return text.contains(QLatin1StringView("=?")) && text.contains(QLatin1StringView("?="));
}

bool has_other_letters(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar each) { return each.unicode() > 0x7f; });
}

QList<mail_address> addresses_of(const mail_record &mail, QByteArrayView role)
{
    QList<mail_address> addresses;
    for (const mail_address &each : mail.addresses) {
        if (each.role == role)
            addresses.append(each);
    }
    return addresses;
}

bool is_sender(const QString &of_row, const QList<mail_address> &senders)
{
    if (senders.isEmpty())
        return of_row.isEmpty();
    return std::any_of(senders.cbegin(), senders.cend(), [&of_row](const mail_address &each) {
        return !of_row.isEmpty() && (of_row == trimmed_text(each.name) || of_row == trimmed_text(each.address));
    });
}

bool are_recipients(const QString &of_row, const QList<mail_address> &recipients)
{
    const QStringList names = shown_names(recipients);
    // A name may contain commas of its own: the texts are compared, too.
    return pieces_of(of_row) == names || pieces_of(of_row) == pieces_of(names.join(u','));
}

value_reading sender_read(const QString &of_row, const QList<mail_address> &senders, const mark_place &place)
{
    if (of_row.isEmpty())
        return {"missing", "The sender begins on the second line of the field; only the first line is read."};
    if (senders.isEmpty())
        return {"surplus", "The row has the field as written; no address can be read from it."};
    const bool begins_with_name = place.continues && !place.first_line.contains('<');
    if (has_mime_word(of_row))
        return begins_with_name
                   ? value_reading{"shortened", "Only the first line of the folded sender is read, and its MIME words "
                                                "are stored as written."}
                   : value_reading{"undecoded", "MIME words (=?...?=) are stored as written."};
    if (is_sender(unquoted(of_row), senders))
        return {"undecoded", "The name is stored as written, with its quotation marks."};
    if (of_row.endsWith(u'>') && is_sender(of_row.chopped(1), senders))
        return {"other", "An address in angle brackets without a name keeps its closing bracket."};
    if (has_other_letters(of_row))
        return {"undecoded", "The sender's bytes are not UTF-8 but are read as if they were."};
    if (senders.size() > 1)
        return {"other", "The field has several senders; it is cut at each \"<\" and every second piece is kept."};
    if (begins_with_name)
        return {"shortened", "Only the first line of the folded sender is read."};
    if (of_row.contains(u'('))
        return {"other", "A name in parentheses is not separated from the address before it."};
    return {"other", "The sender is cut only at \"<\", and the text before it is stored as written."};
}

value_reading recipients_read(const QString &of_row, const QList<mail_address> &recipients, const mark_place &place)
{
    if (of_row.isEmpty())
        return {"missing", "The recipients begin on the second line of the field; a first line without a comma is not "
                           "continued."};
    if (recipients.isEmpty())
        return {"surplus", "The row has the field as written; no address can be read from it."};
    const QStringList names = shown_names(recipients);
    QStringList pieces = pieces_of(of_row);
    std::transform(pieces.begin(), pieces.end(), pieces.begin(), unquoted);
    if (pieces == names)
        return {"undecoded", "The names are stored as written, with their quotation marks."};
    const bool encoded = has_mime_word(of_row);
    if (encoded && pieces.size() == names.size())
        return {"undecoded", "MIME words (=?...?=) are stored as written."};
    if (are_some_of(pieces, names)) {
        const bool nameless = std::any_of(recipients.cbegin(), recipients.cend(),
                                          [](const mail_address &each) { return each.name.isEmpty(); });
        if (place.continues && !place.first_line.contains(','))
            return {"shortened", "A line of recipients without a comma is not continued."};
        if (nameless)
            return {"shortened", "Names and addresses are paired by position: recipients without a name are dropped "
                                 "with the pieces taken for addresses."};
        if (place.lines > 2)
            return {"shortened", "Only the first two lines of the folded list of recipients are read."};
    }
    if (place.continues && !place.first_line.contains(','))
        return {"shortened", "A line of recipients without a comma is not continued."};
    if (place.lines > 2 && pieces.size() < names.size())
        return {"shortened", "Only the first two lines of the folded list of recipients are read."};
    if (encoded)
        return {"undecoded", "MIME words (=?...?=) are stored as written."};
    if (pieces.size() == names.size() && has_other_letters(of_row))
        return {"undecoded", "The names' bytes are not UTF-8 but are read as if they were."};
    return {"other", why_other_recipients(of_row, recipients, place)};
}
