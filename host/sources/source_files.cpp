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

/// One pass over each file. A file that cannot be read has no hash; the run will log what it could not read.
maybe_refusal look_through(ready_source &source, const on_progress &progress)
{
    qint64 in_all = 0;
    for (const source_file &file : std::as_const(source.files))
        in_all += file.size;
    qint64 done = 0;
    QByteArray block(1024 * 1024, Qt::Uninitialized);
    for (source_file &each : source.files) {
        const bool is_mail = each.place.startsWith(u"Mail/");
        QFile file(source.found.root + each.place);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            continue;
        file_digest digest(true, is_mail);
        qint64 count = 0;
        while ((count = file.read(block.data(), block.size())) > 0) {
            digest.add(QByteArrayView(block).first(count));
            done += count;
            if (!progress(reading_phase, done, qMax(in_all, done)))
                return cancelled;
        }
        if (count < 0)
            continue;
        each.size = digest.size();
        each.sha256_before = digest.sha256();
        each.separators = is_mail ? digest.separators() : -1;
    }
    return {};
}

/// Users of one archive share it: it is hashed once.
maybe_refusal hash_given(ready_source &source, QHash<QString, QString> &known, const on_progress &progress)
{
    for (given_source &each : source.given) {
        each.sha256_before = known.value(each.path);
        if (each.size < 0 || !each.sha256_before.isEmpty())
            continue;
        qint64 done = 0;
        bool go_on = true;
        each.sha256_before = sha256_of_file(each.path, [&](qint64 count) {
            done += count;
            go_on = progress(reading_phase, done, qMax(each.size, done));
            return go_on;
        });
        if (!go_on)
            return cancelled;
        known.insert(each.path, each.sha256_before);
    }
    return {};
}

void hash_again(QList<ready_source> &sources, const on_block &go_on)
{
    QStringList paths;
    for (const ready_source &source : std::as_const(sources)) {
        for (const source_file &file : source.files)
            paths.append(source.found.root + file.place);
        for (const given_source &each : source.given) {
            if (each.size >= 0)
                paths.append(each.path);
        }
    }
    paths.removeDuplicates();
    const QStringList hashes = sha256_of_files(paths, go_on);
    QHash<QString, QString> hash_of;
    for (qsizetype i = 0; i < paths.size(); ++i)
        hash_of.insert(paths.at(i), hashes.at(i));
    for (ready_source &source : sources) {
        for (source_file &file : source.files)
            file.sha256_after = hash_of.value(source.found.root + file.place);
        for (given_source &each : source.given)
            each.sha256_after = hash_of.value(each.path);
    }
}
