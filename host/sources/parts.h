/// Which of the given sources belong together.
#pragma once

#include "host/refusal.h"

#include <QList>
#include <QStringList>

/// Group sources: the parts of one Takeout export ("takeout-20240108T083000Z-001.zip", "...-002.zip") are one source,
/// in the order of their numbers; everything else stands by itself. Refused: a source given twice, and, unless
/// `accept_missing` is set, an export of which a part is missing between others (how many there are in all cannot be
/// told).
[[nodiscard]] maybe_refusal group_parts(const QStringList &sources, bool accept_missing, QList<QStringList> &groups);
