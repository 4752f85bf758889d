/// Members of archives and of foreign layouts, written where the plug-in reads them.
#pragma once

#include "host/sources/layout.h"
#include "host/sources/source_listing.h"

#include <span>

/// Go through the readers of the listing a second time and stage the members that have a place. `made[i]` is the source
/// of `placed[i]`; one without a root is left out. Files are added to the sources as they are written.
[[nodiscard]] maybe_refusal stage_members(const source_listing &listing, const QList<placed_source> &placed,
                                          std::span<ready_source> made, const prepare_options &options,
                                          staging_area &staging, const on_progress &progress);
