/// run.json: the input of a run, its programs, and its output.
#pragma once

#include "host/extract_options.h"
#include "host/records/attachment_hashes.h"
#include "host/records/reconciliation.h"
#include "host/refusal.h"
#include "host/result_database.h"
#include "host/sources/ready_source.h"

#include <QDateTime>
#include <QJsonObject>

#include <optional>

/// The part of the record that is about one source.
struct source_record
{
    ready_source source;
    int source_count = 0; ///< its number in the column source_count_name
    source_balance balance;
};

/// The debug log as it was when the run ended. Later runs may append to it.
struct recorded_log
{
    QString path; ///< relative when it is in the result's directory, else absolute
    qint64 size = 0;
    QString sha256; ///< of its first `size` bytes
};

struct run_record
{
    QString state = QStringLiteral("in progress"); ///< then "complete", "failed" or "cancelled"
    QString library;                               ///< path of the plug-in
    QDateTime started;                             ///< before anything of the source was read
    QDateTime ended;
    QList<source_record> sources;
    qint64 failures = -1; ///< -1 when there is no log to count them in
    QStringList failure_lines;
    QStringList attachments; ///< names of the files that the run wrote into "Attachments"
    written_file database;
    QJsonObject mail; ///< counts from reading the mail itself and comparing it; empty when it was not read
    written_file mail_database;
    QStringList parts;               ///< names of the files in "Parts", which begin with their SHA-256
    QString compared_by;             ///< how the source was checked again: "hash", "identity", or empty if it was not
    std::optional<recorded_log> log; ///< none without a log or while the run is in progress
};

/// Version of run.json's format.
inline constexpr int run_record_format = 1;

/// Write the record in one step, so that a reader never sees half of it. The record of a run in progress ends in blanks
/// that keep room on the disk for the final one. `hashes`, unless null, has those of the attachments.
[[nodiscard]] maybe_refusal write_run_record(const result_paths &paths, const run_record &record,
                                             const extract_options &options, attachment_hashes *hashes);

/// Give the record of an earlier run of this result another name ("run-1.json", ...); it is never overwritten.
void keep_earlier_record(const QString &path);

/// "2026-01-05T10:11:12Z"
[[nodiscard]] QString utc_text(const QDateTime &time);
