/// The summary that a run prints at its end.
#pragma once

#include "host/extract_options.h"
#include "host/reading/reading_report.h"
#include "host/records/run_record.h"

#include <optional>

struct run_summary
{
    QMap<QString, qint64> rows; ///< written, per table
    qint64 attachment_files = 0;
    qint64 failures = -1;          ///< -1 when there is no log to count them in
    QStringList failure_lines;     ///< as logged
    QStringList failure_sentences; ///< the first of them, in words
    double seconds = 0;
    std::optional<reading_report> mail; ///< when the mail itself was read
    bool cancelled = false;
    QString record_sha256;  ///< of run.json
    QString record_problem; ///< why run.json could not be written; empty when it was
    QString state;          ///< as in run.json
    exit_status status = exit_status::done;
};

constexpr qsizetype max_shown_failures = 10;

/// On standard output, as text or, when the options say so, as one JSON object. As text, the last line is the SHA-256
/// of run.json. It leaves out a run.json that could not be written: `complain` reports that.
void print_summary(const run_summary &summary, const extract_options &options, const QList<source_record> &sources);
