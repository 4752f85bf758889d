#include "host/reading/mail_places.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

void remove_earlier_mail(const QString &directory)
{
    static const QRegularExpression part_file(QStringLiteral("^[0-9a-f]{64}(\\.[a-z0-9]{1,8})?$"));
    QFile::remove(directory + mail_database_name);
    QFile::remove(directory + mail_database_name + QLatin1StringView("-journal"));
    QDir parts(directory + mail_parts_name);
    for (const QString &name : parts.entryList(QDir::Files | QDir::Hidden | QDir::System)) {
        if (part_file.match(name).hasMatch())
            parts.remove(name);
    }
}
