#include "host/sources/directory_reader.h"

#include <QDateTime>
#include <QFileInfo>

namespace {

member::kind kind_of(const QFileInfo &info)
{
    if (info.isSymLink())
        return member::kind::link;
    if (info.isDir())
        return member::kind::directory;
    return info.isFile() ? member::kind::file : member::kind::special;
}

member member_of(const QFileInfo &info, const QString &path)
{
    return {.path = path,
            .type = kind_of(info),
            .declared_size = info.size(),
            .modified = info.lastModified().toSecsSinceEpoch()};
}

} // namespace

qint64 file_member_reader::read(std::span<char> buffer)
{
    if (!file.isOpen() && !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        fail(file.fileName() + QLatin1StringView(": cannot be read (") + file.errorString() + u')');
        return -1;
    }
    const qint64 count = file.read(buffer.data(), static_cast<qint64>(buffer.size()));
    if (count < 0)
        fail(file.fileName() + QLatin1StringView(": cannot be read on (") + file.errorString() + u')');
    return count;
}

directory_reader::directory_reader(const QString &directory)
    : root(directory.endsWith(u'/') ? directory : directory + u'/')
    , entries(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDirIterator::Subdirectories)
{
}

bool directory_reader::next(member &found)
{
    file.close();
    if (!entries.hasNext())
        return false;
    const QString path = entries.next();
    found = member_of(entries.fileInfo(), path.sliced(root.size()));
    file.setFileName(path);
    return true;
}

bool mbox_reader::next(member &found)
{
    if (told)
        return false;
    told = true;
    const QFileInfo info(file.fileName());
    found = member_of(info, info.fileName());
    found.type = member::kind::file; // given by name: a link to it was meant
    if (!found.path.endsWith(u".mbox"))
        found.path += QLatin1StringView(".mbox"); // the plug-in goes by the name
    return true;
}
