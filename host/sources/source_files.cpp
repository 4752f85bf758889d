#include "host/sources/source_files.h"

#include "host/source_kinds.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

namespace {

/// The folders of a kind of source with files that are read.
QList<QLatin1StringView> folders_of(const source_kind &kind)
{
    QList<QLatin1StringView> folders;
    for (const read_place &place : kind.places) {
        const bool is_read = place.how != read_place::use::name_only && place.how != read_place::use::newer_store;
        if (is_read && !folders.contains(place.folder))
            folders.append(place.folder);
    }
    return folders;
}

} // namespace

QList<source_file> files_in_place(const evidence &found, const QString &given)
{
    QList<source_file> files;
    const source_kind *kind = kind_of_scheme(found.scheme);
    for (const QLatin1StringView folder : kind ? folders_of(*kind) : QList<QLatin1StringView>()) {
        QDirIterator entries(found.root + folder, QDir::Files, QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            const QString path = entries.next();
            const QFileInfo info = entries.fileInfo();
            const QString place = path.sliced(found.root.size());
            // The plug-in refuses links out of the source.
            if (is_read_at(place) && info.isFile() && lies_inside(path, found.root))
                files.append({.place = place,
                              .given_in = given,
                              .member = QDir(given).relativeFilePath(path),
                              .size = info.size(),
                              .modified = info.lastModified().toSecsSinceEpoch(),
                              .sha256_before = {},
                              .sha256_after = {}});
        }
    }
    return files;
}
