#include "common/free_file_names.h"

#include <QDirIterator>

#include <sys/stat.h>

namespace {

/// The name that the file system sees: it ends at a NUL character.
QString name_on_disk(const QString &name)
{
    const qsizetype nul = name.indexOf(QChar::Null);
    return (nul < 0 ? name : name.left(nul)).trimmed();
}

bool entry_exists(const QString &path)
{
    struct stat entry;
    return ::lstat(QFile::encodeName(path).constData(), &entry) == 0; // lstat: a dangling link is an entry, too
}

} // namespace

free_file_names::free_file_names(QString directory, const cancel_flag &cancelled)
    : path(std::move(directory))
{
    QDirIterator entries(path, QDir::AllEntries | QDir::Hidden | QDir::System);
    while (!cancelled.is_set() && entries.hasNext()) {
        entries.next();
        created(entries.fileName());
    }
}

void free_file_names::created(const QString &name)
{
    const QString trimmed = name_on_disk(name);
    if (trimmed.size() != name.size())
        padded_names.insert(trimmed);
}

bool free_file_names::is_taken(const QString &name) const
{
    const QString trimmed = name_on_disk(name);
    if (padded_names.contains(trimmed))
        return true;
    return !trimmed.isEmpty() && entry_exists(path + trimmed);
}

QString free_file_names::next(const QString &wanted, const cancel_flag &cancelled)
{
    if (cancelled.is_set())
        return {};
    auto count = next_count.find(wanted);
    if (count == next_count.end()) {
        if (!is_taken(wanted))
            return wanted;
        count = next_count.insert(wanted, 1);
    }
    for (; !cancelled.is_set(); ++*count) {
        QString candidate = QString::number(*count) + u'_' + wanted;
        if (!is_taken(candidate))
            return candidate;
    }
    return {};
}
