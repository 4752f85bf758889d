/// Failures of the debug log in words for an examiner.
#pragma once

#include "host/result_database.h"
#include "host/sources/ready_source.h"

/// What a line of the log that reports a failure means: which source, which file of the evidence (not the working copy
/// that is gone by then) and what happened. A line that is not known is given as it is.
[[nodiscard]] QString sentence_of_failure(const QString &line, const ready_source &source, const result_paths &paths);
