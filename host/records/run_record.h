/// run.json: what a run read, with which programs, and what it wrote.
#pragma once

#include "host/extract_options.h"
#include "host/records/reconciliation.h"
#include "host/refusal.h"
#include "host/result_database.h"
#include "host/sources/ready_source.h"

#include <QDateTime>
#include <QJsonObject>

#include <functional>

/// What is written of one source.
struct source_record
{
    ready_source source;
    int source_count = 0; ///< its number in the column source_count_name
    source_balance balance;
};

struct written_file
{
    QString name;
    qint64 size = 0;
    QString sha256;
};

struct run_record
{
    QString state = QStringLiteral("in progress"); ///< then "complete", "failed" or "cancelled"
    QString library;                               ///< path of the plug-in
    QDateTime started = QDateTime::currentDateTimeUtc();
    QDateTime ended;
    QList<source_record> sources;
    qint64 failures = -1; ///< -1 when there is no log to count them in
    QStringList failure_lines;
    QStringList attachments; ///< names of the files that the run wrote into "Attachments"
    written_file database;
};

/// Write the record in one step, so that a reader never sees half of it. The attachments are hashed meanwhile, if the
/// options say so, and as long as `go_on`, which is asked from several threads.
[[nodiscard]] maybe_refusal write_run_record(const result_paths &paths, const run_record &record,
                                             const extract_options &options, const std::function<bool()> &go_on);

/// Give the record of an earlier run of this result another name ("run-1.json", ...); it is never overwritten.
void keep_earlier_record(const QString &path);

/// "2026-01-05T10:11:12Z"
[[nodiscard]] QString utc_text(const QDateTime &time);
