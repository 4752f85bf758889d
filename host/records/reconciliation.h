/// Compares the rows that a source gave with those expected of it.
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
    qint64 expected = -1; ///< rows, -1 when unknown
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

/// The rows that one source gave.
struct source_balance
{
    QList<table_balance> tables;
    QList<mbox_balance> mailboxes; ///< mbox files
    bool unexplained = false;      ///< rows are missing or too many, and no failure in the log says why
};

/// Facts about the run that explain missing rows.
struct run_circumstances
{
    QStringList tables; ///< that were to be filled
    bool cancelled = false;
    bool extracts_rows = true; ///< false for engine types that extract none
    bool failures_logged = false;
};

/// `before` and `after` are the last rows of the result before and after the source's extraction.
[[nodiscard]] source_balance reconcile(const ready_source &source, const QString &database, const last_rows &before,
                                       const last_rows &after, const run_circumstances &run);
