/// Reads the result of a run without changing it.
#pragma once

#include "host/refusal.h"

#include <QMap>

/// The number of the last row of each artifact table. Rows are numbered from 1 as they are written, so the difference
/// between two looks is the number of rows written in between; counting rows would read the whole file.
using last_rows = QMap<QString, qint64>;

/// The paths that a run with this result directory uses.
struct result_paths
{
    explicit result_paths(const QString &result_dir);

    QString directory; ///< ends in "/"
    QString database;
    QString attachments; ///< ends in "/"
    QString default_log;
    QString run_record;
    QString lock;    ///< held during a run
    QString staging; ///< parent of the folders for unpacked sources
};

/// The last rows of the database; 0 for a table that is empty, and for a table or a database that does not exist.
[[nodiscard]] maybe_refusal find_last_rows(const QString &database, last_rows &rows);

/// The column source_file of the last row of `messages`; empty when there is none. Works during a run.
[[nodiscard]] QString last_source_file(const QString &database);

/// The number of files in the directory.
[[nodiscard]] qint64 count_files(const QString &directory);
