/// Archives and Android backups, made in memory.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <archive_entry.h>

struct packed
{
    QByteArray path;
    QByteArray bytes;
    unsigned type = AE_IFREG;
    const char *link = nullptr;
};

/// `format` and `filter` are libarchive's codes.
[[nodiscard]] QByteArray archive_of(const QList<packed> &members, int format, int filter = 0,
                                    const char *password = nullptr);

/// An Android backup around a tar archive; enciphered when there is a password.
[[nodiscard]] QByteArray android_backup_of(const QByteArray &tar, int version, bool compressed,
                                           const QString &password = {});
