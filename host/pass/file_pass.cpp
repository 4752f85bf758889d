#include "host/pass/file_pass.h"

#include <QFile>

#include <sys/stat.h>

namespace {

qint64 nanoseconds(const timespec &time)
{
    constexpr qint64 nanoseconds_per_second = 1'000'000'000;
    return time.tv_sec * nanoseconds_per_second + time.tv_nsec;
}

} // namespace

file_identity identity_of(const QString &path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return {};
    return {.device = status.st_dev,
            .inode = status.st_ino,
            .size = status.st_size,
            .modified = nanoseconds(status.st_mtim),
            .changed = nanoseconds(status.st_ctim)};
}

pass_end read_file(const QString &path, std::span<byte_consumer *const> consumers, const on_block &go_on)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return pass_end::unreadable;
    // A small file needs no large block.
    QByteArray block(qBound<qint64>(4096, file.size() + 1, hash_block_size), Qt::Uninitialized);
    while (true) {
        const qint64 count = file.read(block.data(), block.size());
        if (count < 0)
            return pass_end::unreadable;
        if (count == 0)
            return pass_end::complete;
        for (byte_consumer *consumer : consumers)
            consumer->take(QByteArrayView(block).first(count));
        if (!go_on(count))
            return pass_end::stopped;
    }
}
