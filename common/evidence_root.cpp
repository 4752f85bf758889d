#include "common/evidence_root.h"

#include "common/cancel_flag.h"
#include "common/log_line.h"

#include <QFileInfo>

#include <cerrno>
#include <dirent.h>
#include <memory>
#include <optional>
#include <unistd.h>

namespace {

bool is_unreadable(const QByteArray &directory)
{
    return ::access(directory.constData(), R_OK | X_OK) != 0 && errno != ENOENT && errno != ENOTDIR;
}

void log_unreadable(const QString &directory, const log_origin &origin)
{
    log_line({"[directory cannot be read] ----FAILED---- :", origin}, directory);
}

/// A directory that is being listed.
class open_directory
{
public:
    open_directory(const QString &directory, const log_origin &origin)
        : path(directory)
    {
        const QByteArray encoded = QFile::encodeName(directory);
        const bool unreadable = is_unreadable(encoded);
        errno = 0;
        entries.reset(unreadable ? nullptr : ::opendir(encoded.constData()));
        if (unreadable || (!entries && errno != ENOENT && errno != ENOTDIR))
            log_unreadable(directory, origin);
    }

    [[nodiscard]] const dirent *next() { return entries ? ::readdir(entries.get()) : nullptr; }

    const QString path;

private:
    struct closer
    {
        void operator()(DIR *directory) const { ::closedir(directory); }
    };
    std::unique_ptr<DIR, closer> entries;
};

enum class kind { other, file, directory, link };

kind kind_of(const dirent &raw, const QString &path)
{
    switch (raw.d_type) {
    case DT_REG:
        return kind::file;
    case DT_DIR:
        return kind::directory;
    case DT_LNK:
        return kind::link;
    case DT_UNKNOWN: { // the file system does not list types
        const QFileInfo info(path);
        return info.isSymLink() ? kind::link
               : info.isDir()   ? kind::directory
               : info.isFile()  ? kind::file
                                : kind::other;
    }
    default:
        return kind::other;
    }
}

} // namespace

evidence_root::evidence_root(const QString &root)
{
    const QString canonical = root.isEmpty() ? QString() : QFileInfo(root).canonicalFilePath();
    if (!canonical.isEmpty())
        canonical_root = canonical.endsWith(u'/') ? canonical : canonical + u'/';
}

QString evidence_root::place_outside(const QString &path) const
{
    const QString canonical = QFileInfo(path).canonicalFilePath(); // empty when it does not exist
    return QString(canonical + u'/').startsWith(canonical_root) ? QString() : canonical;
}

bool evidence_root::leads_out(const QString &path, const log_origin &origin) const
{
    const QString outside = place_outside(path);
    if (!outside.isEmpty())
        log_line({"[link leads out of the source] ----FAILED---- :", origin}, path, u" -> ", outside);
    return !outside.isEmpty();
}

bool evidence_root::has(const QString &path, const log_origin &origin) const
{
    return QFileInfo::exists(path) && !leads_out(path, origin);
}

bool evidence_root::walk(const QString &directory, const cancel_flag &cancelled, const log_origin &origin,
                         const take_entry &take) const
{
    open_directory entries(directory.endsWith(u'/') ? directory.chopped(1) : directory, origin);
    while (const dirent *raw = entries.next()) {
        if (cancelled.is_set())
            return false;
        if (!QUtf8StringView(raw->d_name).isValidUtf8()) {
            log_line({"[name cannot be read] ----FAILED---- :", origin}, entries.path, u"/",
                     QString::fromLatin1(QByteArray(raw->d_name).toPercentEncoding()));
            continue;
        }
        if (raw->d_name[0] == '.')
            continue; // hidden, or "." or ".."
        evidence_entry entry = {entries.path, QFile::decodeName(raw->d_name)};
        const kind what = kind_of(*raw, entry.path());
        const bool leads_somewhere = what != kind::link || QFileInfo::exists(entry.path());
        if (what == kind::other || !leads_somewhere || (what == kind::link && leads_out(entry.path(), origin)))
            continue;
        entry.is_directory = what == kind::directory || (what == kind::link && QFileInfo(entry.path()).isDir());
        take(entry);
        if (what == kind::directory && !walk(entry.path(), cancelled, origin, take))
            return false;
    }
    return true;
}

QString evidence_root::open(QFile &file) const
{
    const QFileInfo info(file.fileName());
    if (!place_outside(file.fileName()).isEmpty())
        return QStringLiteral("The link leads out of the source");
    if (info.exists() && !info.isFile() && !info.isDir())
        return QStringLiteral("Not a regular file");
    return file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) ? QString() : file.errorString();
}

void evidence_root::report_if_unreadable(const QString &directory, const log_origin &origin)
{
    if (is_unreadable(QFile::encodeName(directory)))
        log_unreadable(directory, origin);
}
