/// Lists the contents of a source before any of it is unpacked or copied.
#pragma once

#include "host/sources/member.h"
#include "host/sources/parts.h"
#include "host/sources/prepare.h"

#include <vector>

/// A regular file that may be read.
struct found_member
{
    std::size_t reader; ///< index of the archive or directory in the group
    member entry;
};

struct source_listing
{
    std::vector<found_member> members; ///< in the order of the source
    QList<member> links;               ///< of a directory; those that may be mail
    QList<member> faults;              ///< entries of a directory that cannot be read
    QStringList passed_over;           ///< ordinary files that may be mail and have no place
    qint64 not_read = 0;               ///< ordinary files of no interest
    qint64 in_all = 0;                 ///< members of any kind
    ready_source notes;                ///< what was given, with remarks about it
};

/// Read the headers of all members. Only the bytes between them are unpacked.
[[nodiscard]] maybe_refusal list_source(const given_group &group, const prepare_options &options, staging_area &staging,
                                        const on_progress &progress, source_listing &listing);
