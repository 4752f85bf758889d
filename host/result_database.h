/// The result of a run, as the host program looks at it: counted, never changed.
#pragma once

#include "host/refusal.h"

#include <QMap>

/// Per artifact table the number of its last row. Rows are numbered as they are written, from 1 on, so the difference
/// between two looks is what was written in between; counting rows would read the whole file.
using last_rows = QMap<QString, qint64>;

/// Where a run with this result directory puts things.
struct result_paths
{
    explicit result_paths(const QString &result_dir);

    QString directory; ///< ends in "/"
    QString database;
    QString attachments; ///< ends in "/"
    QString default_log;
    QString run_record;
    QString lock;    ///< held while a run goes on
    QString staging; ///< parent of the folders for unpacked sources
};

/// The last rows of the database; 0 for a table that is empty, and for a table or a database that does not exist.
[[nodiscard]] maybe_refusal find_last_rows(const QString &database, last_rows &rows);

/// The column source_file of the last row of `messages`; empty when there is none. For a look while a run goes on.
[[nodiscard]] QString last_source_file(const QString &database);

/// How many files the directory holds.
[[nodiscard]] qint64 count_files(const QString &directory);
