#include "host/sources/directory_reader.h"

#include "host/source_kinds.h"

#include <QDateTime>
#include <QFileInfo>
#include <QUtf8StringView>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

member::kind kind_of(const struct stat &info)
{
    if (S_ISLNK(info.st_mode))
        return member::kind::link;
    if (S_ISDIR(info.st_mode))
        return member::kind::directory;
    return S_ISREG(info.st_mode) ? member::kind::file : member::kind::special;
}

/// The system's last error as text.
QString system_error()
{
    return QString::fromLocal8Bit(std::strerror(errno));
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
        fail(file.fileName() + QLatin1StringView(": reading stopped (") + file.errorString() + u')');
    return count;
}

directory_reader::directory_reader(const QString &directory, folder_filter leave_out)
    : root(directory.endsWith(u'/') ? directory : directory + u'/')
    , left_out(leave_out)
    , why_root_failed(enter({}))
{
}

/// Why the folder cannot be listed or its files cannot be reached; empty when all is well.
QString directory_reader::enter(const QString &path)
{
    const QByteArray name = QFile::encodeName(root + path);
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(::opendir(name.constData()), ::closedir);
    if (!entries || ::access(name.constData(), X_OK) != 0)
        return system_error();
    if (left_out && left_out(path))
        return {};
    folder entered = {path};
    while (const dirent *entry = ::readdir(entries.get())) {
        const QByteArray found(entry->d_name);
        if (found != "." && found != "..")
            entered.names.push_back(found);
    }
    std::ranges::sort(entered.names);
    open_folders.push_back(std::move(entered));
    return {};
}

bool directory_reader::next(member &found)
{
    file.close();
    if (!why_root_failed.isEmpty())
        return fail(root + QLatin1StringView(": cannot be read (") + why_root_failed + u')');
    while (!open_folders.empty() && open_folders.back().at == open_folders.back().names.size())
        open_folders.pop_back();
    if (open_folders.empty())
        return false;
    folder &at_hand = open_folders.back();
    const QByteArray name = at_hand.names[at_hand.at++];
    found = {.path = at_hand.path + QFile::decodeName(name)};
    struct stat info = {};
    if (::lstat(QByteArray(QFile::encodeName(root + at_hand.path) + name).constData(), &info) != 0) {
        found.fault = system_error();
        return true;
    }
    found.type = kind_of(info);
    found.declared_size = info.st_size;
    found.modified = info.st_mtime;
    if (!QUtf8StringView(name).isValidUtf8()) {
        found.path = at_hand.path + QString::fromLatin1(name.toPercentEncoding());
        found.fault = QStringLiteral("its name is not valid text");
    } else if (found.type == member::kind::directory) {
        found.fault = enter(found.path + u'/');
    }
    file.setFileName(root + found.path);
    return true;
}

mbox_reader::mbox_reader(const QString &path, bool hash)
{
    file.setFileName(path);
    if (hash)
        file.begin_hash();
}

bool mbox_reader::next(member &found)
{
    if (was_given)
        return false;
    was_given = true;
    const QFileInfo info(file.fileName());
    found = {.path = info.fileName(), .declared_size = info.size(), .modified = info.lastModified().toSecsSinceEpoch()};
    // The plug-in recognises an mbox by its name.
    while (found.path.startsWith(u'.'))
        found.path.remove(0, 1);
    if (!found.path.endsWith(mbox_suffix))
        found.path += mbox_suffix;
    return true;
}
