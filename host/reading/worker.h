/// The process that parses mails: one that a mail kills costs only that mail.
///
/// It reads requests from standard input and writes an answer to each to standard output, in their order, until the
/// input ends. A request is a `worker_request` and, unless the file is that of the previous request, its path; an
/// answer is its size (eight bytes) and a record. The very first answer is a size of 0: the process has started.
#pragma once

#include <QString>

struct worker_request
{
    qint64 offset = 0; ///< bytes
    qint64 length = 0; ///< bytes
    qint32 is_followed = 0;
    qint32 path_size = 0; ///< bytes; 0 for the file of the previous request
};

/// Exit status of a worker that has no memory left for a mail.
inline constexpr int worker_out_of_memory = 3;

/// Run as such a process. Parts are written to the folder `spool`, which exists and is two levels
/// below "Parts/"; the answers name them.
[[nodiscard]] int run_worker(const QString &spool);
