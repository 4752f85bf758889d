/// The result of a run, as the host program looks at it: counted, never changed.
#pragma once

#include "host/refusal.h"

#include <QMap>

/// Rows per artifact table.
using table_counts = QMap<QString, qint64>;

/// Where a run with this result directory puts things.
struct result_paths
{
    explicit result_paths(const QString &result_dir);

    QString directory; ///< ends in "/"
    QString database;
    QString attachments; ///< ends in "/"
    QString default_log;
};

/// Rows per artifact table of the database; 0 for a table or a database that does not exist.
[[nodiscard]] maybe_refusal count_rows(const QString &database, table_counts &counts);

/// How many files the directory holds.
[[nodiscard]] qint64 count_files(const QString &directory);
