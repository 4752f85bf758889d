#include "host/reading/mail_fields.h"

#include "host/reading/charsets.h"
#include "host/reading/gmime.h"
#include "host/reading/limits.h"
#include "host/reading/transfer_encoding.h"

#include <QSet>
#include <algorithm>

namespace {

bool is_blank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

QByteArray unfolded(QByteArrayView value)
{
    QByteArray text;
    text.reserve(value.size());
    for (const char c : value) {
        if (c != '\r' && c != '\n')
            text += c;
    }
    return text.trimmed();
}

// ---- Encoded words --------------------------------------------------------------------------------------------------

/// "=?charset?encoding?text?=".
struct encoded_word
{
    QByteArray charset; ///< lower case, without a language
    bool is_base64 = false;
    QByteArrayView text;
    qsizetype size = 0; ///< bytes of the whole
};

std::optional<encoded_word> encoded_word_at(QByteArrayView text)
{
    if (!text.startsWith("=?"))
        return {};
    const qsizetype charset_end = text.indexOf('?', 2);
    if (charset_end < 0 || charset_end + 3 > text.size() || text[charset_end + 2] != '?')
        return {};
    const char encoding = text[charset_end + 1];
    const bool is_base64 = encoding == 'B' || encoding == 'b';
    if (!is_base64 && encoding != 'Q' && encoding != 'q')
        return {};
    const qsizetype begin = charset_end + 3;
    const qsizetype end = text.indexOf("?=", begin);
    if (end < 0)
        return {};
    QByteArray charset = text.sliced(2, charset_end - 2).toByteArray().toLower();
    if (const qsizetype language = charset.indexOf('*'); language >= 0)
        charset.truncate(language);
    if (std::any_of(charset.begin(), charset.end(), is_blank))
        return {};
    return encoded_word{charset, is_base64, text.sliced(begin, end - begin), end + 2};
}

/// Cuts a field into plain text and runs of adjacent encoded words, which are decoded.
template <typename On_plain, typename On_words>
void for_each_piece(QByteArrayView text, const char *what, field_context &context, On_plain on_plain, On_words on_words)
{
    QByteArray bytes, charset;
    qsizetype plain = 0;     // begin of the plain text not passed on yet
    bool after_word = false; // only blanks from `plain` on
    const auto give_words = [&] {
        if (after_word)
            on_words(to_utf8(bytes, charset, context.likely_charset, what, context.problems));
        bytes.clear();
        after_word = false;
    };
    for (qsizetype at = text.indexOf("=?"); at >= 0;) {
        const std::optional<encoded_word> word = encoded_word_at(text.sliced(at));
        if (!word) {
            at = text.indexOf("=?", at + 2);
            continue;
        }
        const QByteArrayView between = text.sliced(plain, at - plain);
        const bool adjacent = after_word && std::all_of(between.begin(), between.end(), is_blank);
        if (!adjacent || charset != word->charset)
            give_words();
        if (!adjacent)
            on_plain(between);
        charset = word->charset;
        bytes += word->is_base64 ? decoded_mail_base64(word->text).bytes : decoded_quoted_printable(word->text, true);
        after_word = true;
        plain = at + word->size;
        at = text.indexOf("=?", plain);
    }
    give_words();
    on_plain(text.sliced(plain));
}

/// Rewrites encoded words so that GMime reads them without loss: UTF-8, padded base64, no two adjacent.
QByteArray with_plain_words(const QByteArray &value, const char *what, field_context &context)
{
    if (!value.contains("=?"))
        return to_utf8(value, {}, context.likely_charset, what, context.problems);
    QByteArray result, pending;
    const auto give_pending = [&] {
        if (!pending.isEmpty())
            result += "=?utf-8?B?" + pending.toBase64() + "?=";
        pending.clear();
    };
    for_each_piece(
        value, what, context,
        [&](QByteArrayView plain) {
            give_pending();
            result += to_utf8(plain, {}, context.likely_charset, what, context.problems);
        },
        [&](const QByteArray &words) { pending += words; });
    give_pending();
    return result;
}

// ---- Addresses ------------------------------------------------------------------------------------------------------

/// Some programs separate addresses by ";", which belongs to groups.
void separate_by_commas(QByteArray &value)
{
    QList<qsizetype> semicolons;
    bool quoted = false;
    for (qsizetype i = 0; i < value.size(); ++i) {
        const char c = value.at(i);
        if (quoted && c == '\\')
            ++i;
        else if (c == '"')
            quoted = !quoted;
        else if (!quoted && c == ':')
            return; // a group
        else if (!quoted && c == ';')
            semicolons.append(i);
    }
    if (quoted)
        return;
    for (const qsizetype position : std::as_const(semicolons))
        value[position] = ',';
}

void append_addresses(InternetAddressList *list, const QByteArray &role, QList<mail_address> &addresses)
{
    const int count = list ? internet_address_list_length(list) : 0;
    for (int i = 0; i < count; ++i) {
        InternetAddress *each = internet_address_list_get_address(list, i);
        if (INTERNET_ADDRESS_IS_GROUP(each)) {
            append_addresses(internet_address_group_get_members(INTERNET_ADDRESS_GROUP(each)), role, addresses);
            continue;
        }
        const QByteArray name(internet_address_get_name(each));
        const QByteArray address(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(each)));
        if (!name.isEmpty() || !address.isEmpty())
            addresses.append({role, 0, name.trimmed(), address});
    }
}

// ---- Parameters -----------------------------------------------------------------------------------------------------

typed_value parameters_of(GMimeParamList *list, const char *what, field_context &context)
{
    typed_value result;
    const int count = list ? g_mime_param_list_length(list) : 0;
    const auto take = [&](QByteArray &into, const char *value) {
        if (into.isEmpty())
            into = decoded_text(value, what, context);
    };
    for (int i = 0; i < count; ++i) {
        GMimeParam *each = g_mime_param_list_get_parameter_at(list, i);
        const QByteArray name = QByteArray(g_mime_param_get_name(each)).toLower();
        const char *value = g_mime_param_get_value(each);
        if (!value)
            continue;
        if (name == "charset" && result.charset.isEmpty())
            result.charset = QByteArray(value).trimmed().toLower();
        else if (name == "boundary" && result.boundary.isEmpty())
            result.boundary = value;
        else if (name == "name" || name == "filename")
            take(result.name, value);
    }
    while (!result.boundary.isEmpty() && is_blank(result.boundary.back()))
        result.boundary.chop(1);
    return result;
}

bool has_too_many_parameters(const QByteArray &value)
{
    return value.size() > max_field_bytes || value.count(';') > max_parameters;
}

/// Programs write paths unescaped, "C:\TEMP\x.png": in quotes a backslash escapes only a quote or another backslash.
QByteArray with_escaped_backslashes(const QByteArray &value)
{
    if (!value.contains('\\'))
        return value;
    QByteArray result;
    bool quoted = false;
    for (qsizetype i = 0; i < value.size(); ++i) {
        const char c = value.at(i), next = i + 1 < value.size() ? value.at(i + 1) : '\0';
        result += c;
        if (c == '"')
            quoted = !quoted;
        if (!quoted || c != '\\')
            continue;
        const bool escapes = next == '"' || next == '\\';
        result += escapes ? next : '\\';
        i += escapes ? 1 : 0;
    }
    return result;
}

} // namespace

void header_fields::extend_last(const char *end)
{
    fields.back().value = {fields.back().value.begin(), end};
}

QByteArray header_fields::first(QByteArrayView name) const
{
    for (const header_field &each : fields) {
        if (each.name.size() == name.size() && each.name.compare(name, Qt::CaseInsensitive) == 0)
            return unfolded(each.value);
    }
    return {};
}

QByteArrayList header_fields::all(QByteArrayView name) const
{
    QByteArrayList values;
    for (const header_field &each : fields) {
        if (each.name.size() == name.size() && each.name.compare(name, Qt::CaseInsensitive) == 0)
            values.append(unfolded(each.value));
    }
    return values;
}

QByteArray decoded_text(const QByteArray &value, const char *what, field_context &context)
{
    if (!value.contains("=?"))
        return to_utf8(value, {}, context.likely_charset, what, context.problems);
    QByteArray result;
    for_each_piece(
        value, what, context,
        [&](QByteArrayView plain) { result += to_utf8(plain, {}, context.likely_charset, what, context.problems); },
        [&](const QByteArray &words) { result += words; });
    return result.trimmed();
}

QList<mail_address> decoded_addresses(const QByteArrayList &values, const QByteArray &role, field_context &context)
{
    QList<mail_address> addresses;
    const QByteArray what = "The field \"" + role + '"';
    for (const QByteArray &value : values) {
        if (value.size() > max_field_bytes) {
            add_problem(context.problems, what + " is too long to be read as addresses.");
            continue;
        }
        QByteArray text = with_plain_words(value, what.constData(), context);
        text.replace('\0', ' ');
        separate_by_commas(text);
        const gmime_object<InternetAddressList> list(internet_address_list_parse(lenient_options(), text.constData()));
        const qsizetype before = addresses.size();
        append_addresses(list.get(), role, addresses);
        if (addresses.size() == before && !text.trimmed().isEmpty() && !text.contains(':') && text.trimmed() != "<>")
            add_problem(context.problems, what + " has no address that can be read.");
    }
    int position = 0;
    for (mail_address &each : addresses)
        each.position = ++position;
    return addresses;
}

QByteArrayList message_ids(QByteArrayView value)
{
    QByteArrayList ids;
    const auto append = [&ids](QByteArrayView text) {
        QByteArray id = text.toByteArray();
        id.removeIf(is_blank);
        if (!id.isEmpty())
            ids.append(id);
    };
    for (qsizetype begin = value.indexOf('<'); begin >= 0 && ids.size() <= max_references;
         begin = value.indexOf('<', begin)) {
        const qsizetype end = value.indexOf('>', ++begin);
        if (end < 0)
            break;
        append(value.sliced(begin, end - begin));
        begin = end;
    }
    if (!ids.isEmpty())
        return ids;
    const QByteArrayList words = value.toByteArray().simplified().split(' ');
    for (const QByteArray &word : words) {
        if (word.contains('@') || words.size() == 1)
            append(word);
    }
    return ids;
}

QByteArrayList split_labels(const QByteArray &text)
{
    QByteArrayList labels;
    QSet<QByteArray> known;
    for (const QByteArray &each : text.split(',')) {
        const QByteArray label = each.trimmed();
        if (label.isEmpty() || known.contains(label))
            continue;
        known.insert(label);
        labels.append(label);
    }
    return labels;
}

typed_value content_type(const QByteArray &value, field_context &context)
{
    if (value.isEmpty())
        return {};
    if (has_too_many_parameters(value))
        return {.has_too_many_parameters = true};
    const QByteArray text = with_plain_words(with_escaped_backslashes(value), "A Content-Type", context);
    const gmime_object<GMimeContentType> parsed(g_mime_content_type_parse(lenient_options(), text.constData()));
    typed_value result = parameters_of(g_mime_content_type_get_parameters(parsed.get()), "A part's name", context);
    if (text.split(';').first().contains('/'))
        result.type = QByteArray(g_mime_content_type_get_media_type(parsed.get())).toLower() + '/' +
                      QByteArray(g_mime_content_type_get_media_subtype(parsed.get())).toLower();
    return result;
}

typed_value content_disposition(const QByteArray &value, field_context &context)
{
    if (value.isEmpty())
        return {};
    if (has_too_many_parameters(value))
        return {.has_too_many_parameters = true};
    const QByteArray text = with_plain_words(with_escaped_backslashes(value), "A Content-Disposition", context);
    const gmime_object<GMimeContentDisposition> parsed(
        g_mime_content_disposition_parse(lenient_options(), text.constData()));
    typed_value result =
        parameters_of(g_mime_content_disposition_get_parameters(parsed.get()), "A part's name", context);
    result.type = QByteArray(g_mime_content_disposition_get_disposition(parsed.get())).toLower();
    return result;
}
