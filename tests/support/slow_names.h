/// Free file names again, slow and plain: the directory is listed for each name that is tried.
#pragma once

#include <QDirIterator>
#include <QFile>

/// The name as the file system returns it: it ends at a NUL, and characters that cannot be encoded are replaced.
[[nodiscard]] inline QString name_on_disk_of(const QString &name)
{
    return QFile::decodeName(QFile::encodeName(name).constData());
}

[[nodiscard]] inline bool is_listed(const QString &directory, const QString &name)
{
    const QString sought = name_on_disk_of(name).trimmed();
    QDirIterator entries(directory, QDir::AllEntries | QDir::Hidden | QDir::System);
    while (entries.hasNext()) {
        entries.next();
        if (entries.fileName().trimmed() == sought)
            return true;
    }
    return false;
}

[[nodiscard]] inline QString free_name_by_listing(const QString &directory, const QString &wanted)
{
    QString name = wanted;
    for (int i = 1; is_listed(directory, name); ++i)
        name = QString::number(i) + u'_' + wanted;
    return name;
}
