#include "host/sources/source_files.h"

#include "host/sources/layout.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

/// The files that the plug-in reads below a root; as its own walks, links to directories are not followed.
QList<source_file> files_in_place(const evidence &found, const QString &given)
{
    QList<source_file> files;
    const QString begin =
        found.scheme == u"androidOS" ? QStringLiteral("apps/com.google.android.gm/") : QStringLiteral("Mail/");
    QStringList folders = {begin};
    if (found.scheme == u"androidOS")
        folders = {begin + u"db/", begin + u"sp/", begin + u"r/app_webview/"};
    for (const QString &folder : std::as_const(folders)) {
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
