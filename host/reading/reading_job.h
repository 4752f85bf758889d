/// Turns ready sources into a list of the mail to read.
#pragma once

#include "host/reading/read_mails.h"
#include "host/sources/ready_source.h"

/// The mail of the sources, which are numbered from `source_count` on as an extraction numbers them. A source without
/// mail has no places.
[[nodiscard]] reading_job job_of(const QList<ready_source> &sources, const QString &directory, int source_count,
                                 int threads);
