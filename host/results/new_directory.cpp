#include "host/results/new_directory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

new_directory::~new_directory()
{
    if (!unfinished.isEmpty())
        QDir(unfinished).removeRecursively();
}

maybe_refusal new_directory::make(const QString &target)
{
    wanted = QDir::cleanPath(QFileInfo(target).absoluteFilePath());
    const QString parent = QFileInfo(wanted).path();
    if (!QFileInfo(parent).isDir())
        return refusal{exit_status::bad_result,
                       parent + QLatin1StringView(": no such directory; create it, or choose another --out")};
    const QString path = wanted + QStringLiteral(".unfinished-%1").arg(QCoreApplication::applicationPid());
    if (!QDir().mkdir(path))
        return refusal{exit_status::bad_result, path + QLatin1StringView(": cannot be created; choose another --out")};
    unfinished = path;
    return {};
}

maybe_refusal new_directory::finish()
{
    const QString earlier = unfinished + QLatin1StringView("-earlier");
    const bool was_there = QFileInfo::exists(wanted);
    if ((was_there && !QDir().rename(wanted, earlier)) || !QDir().rename(unfinished, wanted)) {
        if (was_there)
            QDir().rename(earlier, wanted);
        return refusal{exit_status::bad_result,
                       wanted + QLatin1StringView(": cannot be renamed into place; choose another --out")};
    }
    unfinished.clear();
    QDir(earlier).removeRecursively();
    return {};
}
