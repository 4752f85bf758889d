#include "common/evidence_root.h"

#include "common/log_line.h"

#include <dirent.h>
#include <memory>

evidence_root::evidence_root(const QString &root)
{
    const QString canonical = root.isEmpty() ? QString() : QFileInfo(root).canonicalFilePath();
    if (!canonical.isEmpty())
        canonical_root = canonical.endsWith(u'/') ? canonical : canonical + u'/';
}

bool evidence_root::holds(const QString &path, const log_origin &origin) const
{
    const QString canonical = QFileInfo(path).canonicalFilePath(); // empty when it does not exist
    if (canonical.isEmpty() || QString(canonical + u'/').startsWith(canonical_root))
        return true;
    log_line({"[link leads out of the source] ----FAILED---- :", origin}, path);
    return false;
}

bool evidence_root::holds_entry(const QFileInfo &entry, const log_origin &origin) const
{
    return !entry.isSymLink() || holds(entry.filePath(), origin);
}

void evidence_root::tell_unreadable(const QFileInfo &directory, const log_origin &origin)
{
    const QString name = directory.fileName();
    if (!directory.isDir() || name == u"." || name == u"..")
        return;
    if (!directory.isReadable() || !directory.isExecutable()) {
        log_line({"[directory cannot be read] ----FAILED---- :", origin}, directory.filePath());
        return;
    }
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(::opendir(QFile::encodeName(directory.filePath()).constData()),
                                                       ::closedir);
    while (const dirent *entry = entries ? ::readdir(entries.get()) : nullptr) {
        if (!QUtf8StringView(entry->d_name).isValidUtf8())
            log_line({"[name cannot be read] ----FAILED---- :", origin}, directory.filePath(), u"/",
                     QString::fromLatin1(QByteArray(entry->d_name).toPercentEncoding()));
    }
}

bool is_regular_file(const QString &path)
{
    return QFileInfo(path).isFile();
}
