#include "common/warm_accounts.h"

#include <QIODevice>
#include <QXmlStreamReader>

namespace {

/// The text of the current element and its children, up to where a damaged file ends. Qt's own reader calls itself for
/// each child, and evidence may nest children to any depth.
QString text_of_element(QXmlStreamReader &xml)
{
    QString text;
    for (qint64 depth = 1; depth > 0 && !xml.atEnd();) {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartElement:
            ++depth;
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        case QXmlStreamReader::Characters:
        case QXmlStreamReader::EntityReference:
            text += xml.text();
            break;
        default:
            break;
        }
    }
    return text;
}

/// Everything between two "<" counts as one element; an attribute is "=" and a quote.
bool has_element_of_many_attributes(QByteArrayView xml)
{
    qsizetype attributes = 0;
    bool after_equals = false;
    for (const char letter : xml) {
        if (letter == '<')
            attributes = 0;
        else if (after_equals && (letter == '"' || letter == '\''))
            ++attributes;
        if (attributes > warm_accounts::max_attributes)
            return true;
        after_equals = letter == '=' || (after_equals && QChar::isSpace(static_cast<uchar>(letter)));
    }
    return false;
}

bool is_read_in_reasonable_time(QByteArray xml)
{
    xml.removeIf([](char letter) { return letter == '\0'; }); // UTF-16 reads like ASCII then
    return xml.count("xmlns") <= warm_accounts::max_attributes && !xml.contains("<!ATTLIST") &&
           !has_element_of_many_attributes(xml);
}

} // namespace

std::optional<QStringList> warm_accounts::read_from(QIODevice &preferences)
{
    const QByteArray content = preferences.read(qMin(preferences.size(), max_bytes) + 1);
    if (content.size() > max_bytes || !is_read_in_reasonable_time(content))
        return {};
    QStringList accounts;
    QXmlStreamReader xml(content);
    while (!xml.atEnd() && !xml.hasError()) {
        xml.readNext();
        if (!xml.isStartElement() || xml.attributes().value(QLatin1StringView("name")) != u"lastly_warmed_up_accounts")
            continue;
        const QString text = text_of_element(xml);
        for (const QString &line : text.split(u'\n')) {
            if (!line.trimmed().isEmpty())
                accounts.append(line.trimmed());
        }
    }
    return accounts;
}
