/// How many rows a source should give, counted without the plug-in.
#pragma once

#include "host/sources/source_files.h"
#include "host/sources/staging.h"

/// Fill in the rows expected of each source, from the separators of its mbox files and the tables of its databases.
/// Databases are counted in copies below `staging`: opening one with a write-ahead log writes to it. A cancel, which
/// `progress` is asked for between sources, is a refusal without text; nothing is staged any more then.
[[nodiscard]] maybe_refusal expect_rows(QList<ready_source> &sources, staging_area &staging,
                                        const on_progress &progress);

/// Rows of one mbox: each separator completes the message before it, so the last message of the file has no row.
[[nodiscard]] inline qint64 rows_of_mbox(qint64 separators)
{
    return separators > 0 ? separators - 1 : 0;
}
