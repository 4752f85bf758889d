/// How large a binary property list would become, judged by its bytes alone.
#pragma once

#include <QByteArrayView>

constexpr qint64 max_unfolded_objects = 200 * 1000;
constexpr int max_nested_lists = 512;

/// False for a binary property list that unfolds to very many objects or very deep lists. Its lists name their items by
/// number, and libplist copies an item for each list that names it: a few hundred bytes can fill all memory. True for
/// everything else, also for other kinds of data.
[[nodiscard]] bool unfolds_moderately(QByteArrayView bytes, qint64 max_objects = max_unfolded_objects);
