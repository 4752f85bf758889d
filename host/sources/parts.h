/// Which of the given sources belong together.
#pragma once

#include "host/refusal.h"
#include "host/sources/password.h"

#include <QList>
#include <QStringList>

/// Paths that are one source, and remarks about them.
struct given_group
{
    QStringList paths;
    QStringList remarks = {};
};

/// True for the name of an archive of a Takeout export: "takeout-20240108T083000Z-001.zip", ".tgz" or ".tar.gz", also
/// when a browser has added " (1)" to it.
[[nodiscard]] bool is_export_part(const QString &path);

/// Group sources: the parts of one Takeout export are one source, in the order of their numbers; everything else is a
/// source of its own. A directory of nothing but such archives is replaced by them. The same part under two names
/// counts once. Refuses a source given twice, a part given twice with different contents, and, unless `accept_missing`
/// is set, an export of which a part is missing between others (how many there are in all is unknown). `go_on` is
/// called while parts are compared; false ends that as a cancel.
[[nodiscard]] maybe_refusal group_parts(const QStringList &sources, bool accept_missing, const still_wanted &go_on,
                                        QList<given_group> &groups);
