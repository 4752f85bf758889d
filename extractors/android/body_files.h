/// The body files of an Android source, found by message.
#pragma once

#include "common/cancel_flag.h"

#include <QByteArray>
#include <QStringList>

#include <vector>

class evidence_root;

/// An index of a directory tree: for each message the last file, in the order of the walk, whose name is the message's
/// id, a ".", and anything. Made by one walk; about 30 bytes a file.
class body_files
{
public:
    /// Walks `directory`, unless it is empty; entries that `root` refuses are logged and skipped. Nothing is found when
    /// `cancelled` ended the walk.
    body_files(const QString &directory, const evidence_root &root, const cancel_flag &cancelled);

    /// Full path; empty when there is no such file.
    [[nodiscard]] QString path_of(const QString &message_id) const;

private:
    struct entry
    {
        quint32 name_begin;
        quint16 name_size;
        quint16 key_size; ///< the name up to one of its dots
        quint32 directory;
    };

    void add(const QString &directory, const QString &file_name);
    [[nodiscard]] QByteArrayView key_of(const entry &file) const;

    QByteArray names; ///< of all files, one after the other
    QStringList directories;
    std::vector<entry> files; ///< sorted by key; among equal keys the last one of the walk comes first
};
