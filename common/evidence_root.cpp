#include "common/evidence_root.h"

#include "common/log_line.h"

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

bool is_regular_file(const QString &path)
{
    return QFileInfo(path).isFile();
}
