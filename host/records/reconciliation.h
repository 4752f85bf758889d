/// What a source should have given against what it gave.
#pragma once

#include "host/result_database.h"
#include "host/sources/ready_source.h"

struct difference
{
    QString reason;
    qint64 rows = 0;
};

struct table_balance
{
    QString table;
    qint64 expected = -1; ///< rows, -1 when that cannot be told
    qint64 written = 0;
    QList<difference> differences;
};

struct mbox_balance
{
    QString place;
    qint64 separators = 0;
    qint64 written = 0;
    QList<difference> differences;
};

/// What one source gave.
struct source_balance
{
    QList<table_balance> tables;
    QList<mbox_balance> mailboxes; ///< mbox files
    bool unexplained = false;      ///< rows are missing or too many, and no failure in the log says why
};

/// How the run went, as far as it explains rows that are not there.
struct run_circumstances
{
    QStringList tables; ///< that were to be filled
    bool cancelled = false;
    bool extracts_rows = true; ///< false for engine types that get none
    bool failures_logged = false;
};

/// `before` and `after` are the last rows of the result around the source's extraction.
[[nodiscard]] source_balance reconcile(const ready_source &source, const QString &database, const last_rows &before,
                                       const last_rows &after, const run_circumstances &run);
