/// How many rows a source should give, counted without the plug-in.
#pragma once

#include "host/sources/ready_source.h"

/// The rows expected of a source whose separators are counted, from them and from the tables of its databases. These
/// are counted in copies below `scratch`, a folder that is created and removed: opening a database with a write-ahead
/// log writes to it. Call it from one thread at a time.
[[nodiscard]] expected_rows rows_expected_of(const ready_source &source, const QString &scratch);

/// Rows of one mbox: each separator completes the message before it, so the last message of the file has no row.
[[nodiscard]] inline qint64 rows_of_mbox(qint64 separators)
{
    return separators > 0 ? separators - 1 : 0;
}
