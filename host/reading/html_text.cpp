#include "host/reading/html_text.h"

#include <QHash>
#include <QString>

#include <algorithm>

namespace {

constexpr qsizetype max_reference = 10; // bytes of "&thetasym;"

bool ends_name(char c)
{
    return c == '>' || c == '/' || c <= ' ';
}

bool is_tag(QByteArrayView text, QByteArrayView name)
{
    return text.size() > name.size() && text.first(name.size()).compare(name, Qt::CaseInsensitive) == 0 &&
           ends_name(text[name.size()]);
}

/// The end of the comment or tag that begins at `at`.
qsizetype end_of_tag(QByteArrayView html, qsizetype at)
{
    const bool comment = html.sliced(at).startsWith("<!--");
    const qsizetype end = comment ? html.indexOf("-->", at + 4) : html.indexOf('>', at);
    return end < 0 ? html.size() : end + (comment ? 3 : 1);
}

/// The end of the script or style that follows the tag at `at`.
qsizetype end_of_hidden(QByteArrayView html, qsizetype at, QByteArrayView closing_tag)
{
    for (qsizetype tag = html.indexOf("</", at); tag >= 0; tag = html.indexOf("</", tag + 2)) {
        if (is_tag(html.sliced(tag), closing_tag))
            return end_of_tag(html, tag);
    }
    return html.size();
}

const QHash<QByteArray, char16_t> &named_references()
{
    static const QHash<QByteArray, char16_t> names = {
        {"amp", u'&'},        {"lt", u'<'},          {"gt", u'>'},          {"quot", u'"'},
        {"apos", u'\''},      {"nbsp", u' '},        {"auml", u'\u00e4'},   {"ouml", u'\u00f6'},
        {"uuml", u'\u00fc'},  {"Auml", u'\u00c4'},   {"Ouml", u'\u00d6'},   {"Uuml", u'\u00dc'},
        {"szlig", u'\u00df'}, {"eacute", u'\u00e9'}, {"egrave", u'\u00e8'}, {"ecirc", u'\u00ea'},
        {"euml", u'\u00eb'},  {"agrave", u'\u00e0'}, {"aacute", u'\u00e1'}, {"acirc", u'\u00e2'},
        {"aring", u'\u00e5'}, {"aelig", u'\u00e6'},  {"ccedil", u'\u00e7'}, {"iacute", u'\u00ed'},
        {"icirc", u'\u00ee'}, {"iuml", u'\u00ef'},   {"ntilde", u'\u00f1'}, {"oacute", u'\u00f3'},
        {"ocirc", u'\u00f4'}, {"oslash", u'\u00f8'}, {"uacute", u'\u00fa'}, {"ugrave", u'\u00f9'},
        {"ucirc", u'\u00fb'}, {"euro", u'\u20ac'},   {"pound", u'\u00a3'},  {"copy", u'\u00a9'},
        {"reg", u'\u00ae'},   {"ndash", u'\u2013'},  {"mdash", u'\u2014'},  {"hellip", u'\u2026'},
        {"lsquo", u'\u2018'}, {"rsquo", u'\u2019'},  {"ldquo", u'\u201c'},  {"rdquo", u'\u201d'},
        {"bdquo", u'\u201e'}};
    return names;
}

QByteArray character(QByteArrayView reference)
{
    if (!reference.startsWith('#')) {
        const char16_t named = named_references().value(reference.toByteArray());
        return named ? QString(QChar(named)).toUtf8() : QByteArray();
    }
    const bool hex = reference.size() > 1 && (reference[1] == 'x' || reference[1] == 'X');
    const char32_t code = reference.sliced(hex ? 2 : 1).toByteArray().toUInt(nullptr, hex ? 16 : 10);
    const bool valid = code >= U' ' && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    return valid ? QString::fromUcs4(&code, 1).toUtf8() : QByteArray();
}

/// Appends the character that the reference at `at` means, or "&"; returns the end of the reference.
qsizetype take_reference(QByteArrayView html, qsizetype at, QByteArray &text)
{
    const QByteArrayView window = html.sliced(at + 1, std::min(max_reference, html.size() - at - 1));
    const qsizetype end = window.indexOf(';');
    const QByteArray meant = end > 0 ? character(window.first(end)) : QByteArray();
    text += meant.isEmpty() ? QByteArray("&") : meant;
    return at + 1 + (meant.isEmpty() ? 0 : end + 1);
}

} // namespace

QByteArray html_text(QByteArrayView html)
{
    QByteArray text;
    text.reserve(html.size() / 2);
    for (qsizetype at = 0; at < html.size();) {
        if (html[at] == '&') {
            at = take_reference(html, at, text);
        } else if (html[at] == '<') {
            const QByteArrayView tag = html.sliced(at);
            const bool script = is_tag(tag, "<script"), style = is_tag(tag, "<style");
            at = end_of_tag(html, at);
            if (script || style)
                at = end_of_hidden(html, at, script ? "</script" : "</style");
            text += ' ';
        } else {
            const auto end = std::find_if(html.begin() + at, html.end(), [](char c) { return c == '<' || c == '&'; });
            text += html.sliced(at, end - html.begin() - at);
            at = end - html.begin();
        }
    }
    return text;
}
