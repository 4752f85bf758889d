#include "extractors/android/working_copies.h"

#include "common/plugin_helper_functions.h"

#include <QFile>

working_copies::working_copies(const plugin_helper_functions &helper)
    : maker(helper)
{
}

working_copies::~working_copies()
{
    remove_all();
}

QString working_copies::path_of(const QString &source_path)
{
    if (const auto known = copies.constFind(source_path); known != copies.constEnd())
        return *known;
    const QString copy = maker.get_adhoc_path_for_database(source_path);
    if (!copy.isEmpty())
        copies.insert(source_path, copy);
    return copy;
}

void working_copies::remove_all()
{
    for (const QString &copy : std::as_const(copies)) {
        for (const char *suffix : {"", "-shm", "-wal", "-journal"})
            QFile::remove(copy + QLatin1StringView(suffix));
    }
    copies.clear();
}
