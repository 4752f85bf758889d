#include "extractors/takeout/mail_marks.h"

#include <cstring>

namespace {

/// The next `byte` in [from, end), or null.
const char *next_byte(const char *from, const char *end, char byte)
{
    if (from == end) // also for the null of an empty text, which memchr must not get
        return nullptr;
    return static_cast<const char *>(std::memchr(from, byte, static_cast<std::size_t>(end - from)));
}

void note_first(qsizetype &mark, qsizetype position)
{
    if (mark < 0)
        mark = position;
}

} // namespace

qsizetype find_bytes(QByteArrayView text, QByteArrayView sought, qsizetype position)
{
    if (position < 0 || position > text.size())
        return -1;
    const char *const begin = text.data();
    const char *const end = begin + text.size();
    const auto size = static_cast<std::size_t>(sought.size());
    if (size > 2) {
        const void *hit =
            ::memmem(begin + position, static_cast<std::size_t>(text.size() - position), sought.data(), size);
        return hit ? static_cast<const char *>(hit) - begin : -1;
    }
    // Short marks ("==") are found faster by their first byte, which is rare.
    for (const char *hit = begin + position; (hit = next_byte(hit, end, sought.front())); ++hit) {
        if (QByteArrayView(hit, end).startsWith(sought))
            return hit - begin;
    }
    return -1;
}

qsizetype rising_search::at_or_behind(qsizetype position)
{
    const bool known = hit == -1 || hit >= position;
    if (!known)
        hit = find_bytes(text, needle, position);
    return hit;
}

/// Every mark of a header contains ": ", and a colon is rare (base64 has none): the search goes from colon to colon. In
/// the same way "filename=" is found by its rare "=".
mail_marks::mail_marks(QByteArrayView message_bytes, const cancel_flag *cancelled)
    : bytes(message_bytes)
    , flag(cancelled)
{
    const char *const begin = bytes.data();
    const char *const end = begin + bytes.size();
    for (const char *colon = begin; !is_cancelled() && (colon = next_byte(colon, end, ':')); ++colon)
        note_header_mark(colon - begin);

    constexpr QByteArrayView file_name("filename");
    for (const char *equals = begin; !is_cancelled() && (equals = next_byte(equals, end, '=')); ++equals) {
        const qsizetype position = equals - begin;
        if (bytes.first(position).endsWith(file_name))
            file_names.push_back(position - file_name.size());
    }
}

void mail_marks::note_header_mark(qsizetype colon)
{
    if (colon == 0 || colon + 1 == bytes.size() || bytes[colon + 1] != ' ')
        return;
    const QByteArrayView before = bytes.first(colon);
    const QByteArrayView behind = bytes.sliced(colon + 2);
    const auto begin_of = [colon](QByteArrayView name) { return colon - name.size(); };
    const auto ends_with = [before](QByteArrayView name) { return before.endsWith(name); };

    switch (before.back()) { // one comparison rules out most colons
    case 'o':
        if (ends_with("\nTo"))
            note_first(to, begin_of("\nTo"));
        break;
    case 'm':
        if (ends_with("From"))
            note_first(from, begin_of("From"));
        break;
    case 't':
        if (ends_with("Subject"))
            note_first(subject, begin_of("Subject"));
        break;
    case 'c':
        if (ends_with("Cc"))
            note_first(cc, begin_of("Cc"));
        break;
    case 'e':
        if (ends_with("Date"))
            note_first(date, begin_of("Date"));
        else if (ends_with("Content-Type"))
            note_content_type(begin_of("Content-Type"), behind);
        break;
    case 'g':
        if (ends_with("Content-Transfer-Encoding"))
            note_transfer_encoding(begin_of("Content-Transfer-Encoding"), behind);
        break;
    default:
        break;
    }
}

void mail_marks::note_content_type(qsizetype begin, QByteArrayView value)
{
    content_types.push_back(begin);
    if (value.startsWith("multipart"))
        note_first(multipart, begin);
    else if (value.startsWith("text/plain"))
        note_first(plain_text, begin);
}

void mail_marks::note_transfer_encoding(qsizetype begin, QByteArrayView value)
{
    if (value.startsWith("base64")) {
        note_first(base64_lower, begin);
        if (value.sliced(6).startsWith("\nContent-Type: text/plain;"))
            note_first(base64_plain_lower, begin);
    } else if (value.startsWith("BASE64")) {
        note_first(base64_upper, begin);
        if (value.sliced(6).startsWith("\nContent-Type: TEXT/PLAIN;"))
            note_first(base64_plain_upper, begin);
    }
}
