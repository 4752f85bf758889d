/// File names that are free in a directory, found without listing the directory for each one.
#pragma once

#include "common/cancel_flag.h"

#include <QHash>
#include <QSet>
#include <QString>

/// Hands out names for new files of one directory: the wanted name, else the first free one of "1_" + name,
/// "2_" + name, and so on. A name is taken when an entry of the directory has it, both trimmed; hidden entries, links
/// and "." and ".." count.
///
/// The directory is listed once, when the object is made; after that each candidate costs one check on the disk, and a
/// repeated base name continues where its last search ended. Memory grows with the distinct names that collided, not
/// with the files. Files of the directory may appear at any time; they must not disappear.
class free_file_names
{
public:
    /// `directory` ends in "/"; it need not exist. The listing ends early when `cancelled` becomes true; no name is
    /// handed out then.
    free_file_names(QString directory, const cancel_flag &cancelled);

    /// A free name for a file called `wanted` (a bare name). Nothing is created: the same call returns the same name
    /// until the caller has made the file and reported it with `created`. Empty when `cancelled` becomes true.
    QString next(const QString &wanted, const cancel_flag &cancelled);

    /// A file of this name now exists.
    void created(const QString &name);

private:
    [[nodiscard]] bool is_taken(const QString &name) const;

    QString path;
    QSet<QString> padded_names;        // trimmed forms of the entries whose names begin or end with white space
    QHash<QString, qint64> next_count; // of the base names that were found taken
};
