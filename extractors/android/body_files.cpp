#include "extractors/android/body_files.h"

#include "common/evidence_root.h"
#include "common/log_line.h"

#include <algorithm>

body_files::body_files(const QString &directory, const evidence_root &root, const cancel_flag &cancelled)
{
    if (directory.isEmpty())
        return;
    const bool is_complete = root.walk(directory, cancelled, {}, [this](const evidence_entry &found) {
        if (!found.is_directory)
            add(found.directory, found.name);
    });
    if (!is_complete) {
        files.clear();
        return;
    }
    std::reverse(files.begin(), files.end());
    std::stable_sort(files.begin(), files.end(),
                     [this](const entry &a, const entry &b) { return key_of(a) < key_of(b); });
}

/// An id may contain dots, too, so each dot of a name ends a key.
void body_files::add(const QString &directory, const QString &file_name)
{
    if (directories.isEmpty() || directories.last() != directory)
        directories.append(directory);
    const QByteArray name = file_name.toUtf8();
    const auto begin = static_cast<quint32>(names.size());
    names += name;
    for (qsizetype dot = name.indexOf('.'); dot >= 0; dot = name.indexOf('.', dot + 1))
        files.push_back({begin, static_cast<quint16>(name.size()), static_cast<quint16>(dot),
                         static_cast<quint32>(directories.size() - 1)});
}

QByteArrayView body_files::key_of(const entry &file) const
{
    return QByteArrayView(names).sliced(file.name_begin, file.key_size);
}

QString body_files::path_of(const QString &message_id) const
{
    const QByteArray key = message_id.toUtf8();
    const auto file = std::lower_bound(files.begin(), files.end(), QByteArrayView(key),
                                       [this](const entry &a, QByteArrayView sought) { return key_of(a) < sought; });
    const bool found = file != files.end() && key_of(*file) == QByteArrayView(key);
    if (!found || QString::fromUtf8(key) != message_id) // an id that is not valid text names no file
        return {};
    const QByteArrayView name = QByteArrayView(names).sliced(file->name_begin, file->name_size);
    return directories.at(file->directory) + u'/' + QString::fromUtf8(name);
}
