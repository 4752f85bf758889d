/// The files that the plug-in reads, and the phase in which their bytes are read.
#pragma once

#include "host/pass/digest.h"
#include "host/refusal.h"
#include "host/sources/ready_source.h"

#include <QHash>

#include <functional>

/// Called with the progress of a phase, in bytes; false cancels.
using on_progress = std::function<bool(const QString &phase, qint64 done, qint64 in_all)>;

/// The phase in which files are read for their hashes and counts.
inline constexpr QLatin1StringView reading_phase{"reading the source"};

/// The files that the plug-in reads below a root; as in its own walks, links to directories are not followed. `given`
/// is the directory on the command line.
[[nodiscard]] QList<source_file> files_in_place(const evidence &found, const QString &given);
