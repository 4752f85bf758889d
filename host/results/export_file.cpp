#include "host/results/export_directory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <cstring>

namespace {

constexpr qsizetype buffer_size = 256 * 1024;

} // namespace

export_directory::~export_directory()
{
    if (!unfinished.isEmpty())
        QDir(unfinished).removeRecursively();
}

maybe_refusal export_directory::make(const QString &target)
{
    wanted = QDir::cleanPath(target);
    const QFileInfo place(wanted);
    if (place.exists() || place.isSymLink())
        return refusal{exit_status::bad_result, target + QLatin1StringView(": exists already; choose another --out")};
    if (!QFileInfo(place.path()).isDir())
        return refusal{exit_status::bad_result,
                       place.path() + QLatin1StringView(": no such directory; make it, or choose another --out")};
    const QString path = wanted + QStringLiteral(".unfinished-%1").arg(QCoreApplication::applicationPid());
    if (!QDir().mkdir(path))
        return refusal{exit_status::bad_result, path + QLatin1StringView(": cannot be made; choose another --out")};
    unfinished = path;
    return {};
}

maybe_refusal export_directory::finish()
{
    if (!QDir().rename(unfinished, wanted))
        return refusal{exit_status::bad_result, wanted + QLatin1StringView(": cannot be given its name; choose another "
                                                                           "--out")};
    unfinished.clear();
    return {};
}

export_file::export_file(const QString &path)
    : file(path)
    , buffer(buffer_size, Qt::Uninitialized)
{
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
        failed = true;
        why = file.errorString();
    }
}

void export_file::write(QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        if (filled == buffer.size())
            flush();
        const qsizetype now = qMin(bytes.size(), buffer.size() - filled);
        std::memcpy(buffer.data() + filled, bytes.data(), static_cast<std::size_t>(now));
        filled += now;
        bytes = bytes.sliced(now);
    }
}

void export_file::flush()
{
    if (!failed && file.write(buffer.constData(), filled) != filled) {
        failed = true;
        why = file.errorString();
    }
    filled = 0;
}

maybe_refusal export_file::close()
{
    flush();
    file.close();
    if (!failed)
        return {};
    return refusal{exit_status::bad_result, file.fileName() + QLatin1StringView(": cannot be written (") + why +
                                                QLatin1StringView("); make room, or choose another --out")};
}
