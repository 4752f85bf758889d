/// What a run tells when it is done.
#pragma once

#include "host/extract_options.h"
#include "host/records/run_record.h"

struct run_summary
{
    QMap<QString, qint64> rows; ///< written, per table
    qint64 attachment_files = 0;
    qint64 failures = -1; ///< -1 when there is no log to count them in
    QStringList failure_lines;
    double seconds = 0;
    bool cancelled = false;
    QString record_sha256; ///< of run.json
};

constexpr qsizetype most_failure_lines = 10; ///< that are shown

/// On standard output, as text or, when the options say so, as one JSON object. As text, the last line is the SHA-256
/// of run.json.
void print_summary(const run_summary &summary, const extract_options &options, const QList<source_record> &sources);
