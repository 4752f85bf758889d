/// Failures in the debug log, in words for an examiner.
#pragma once

#include "host/result_database.h"
#include "host/sources/ready_source.h"

/// Describes a log line that reports a failure: which source, which file of the evidence (not the working copy, which
/// is gone by then) and what happened. An unknown line is returned as it is.
[[nodiscard]] QString sentence_of_failure(const QString &line, const ready_source &source, const result_paths &paths);
