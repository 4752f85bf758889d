/// The accounts in `lastly_warmed_up_accounts`, with Qt's own reader of an element's text, which calls itself for each
/// child.
#pragma once

#include <QStringList>
#include <QXmlStreamReader>

[[nodiscard]] inline QStringList warm_accounts_by_qt(const QByteArray &preferences)
{
    QStringList accounts;
    QXmlStreamReader xml(preferences);
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement() || xml.attributes().value(QStringLiteral("name")) != u"lastly_warmed_up_accounts")
            continue;
        for (const QString &line : xml.readElementText(QXmlStreamReader::IncludeChildElements).split(u'\n')) {
            if (!line.trimmed().isEmpty())
                accounts.append(line.trimmed());
        }
    }
    return accounts;
}
