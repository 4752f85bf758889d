/// Turns the sources on the command line into sources for the plug-in.
#pragma once

#include "host/refusal.h"
#include "host/sources/password.h"
#include "host/sources/source_files.h"
#include "host/sources/staging.h"

/// The phases before files are read, as the progress display names them.
inline constexpr QLatin1StringView listing_phase{"listing the source"};
inline constexpr QLatin1StringView staging_phase{"unpacking the source"};

struct prepare_options
{
    QString scheme; ///< recognised from the source when empty
    bool accept_missing_parts = false;
    bool hash = true;
    bool keep_mail = true;                    ///< false: mbox files are looked through, but not staged
    still_wanted go_on = [] { return true; }; ///< false once the run is cancelled
};

/// Recognise, unpack and list all sources. A source already laid out as the plug-in reads it stays where it is; the
/// others are staged. Each "Takeout" and each Android user in a given source becomes a source of its own. After a
/// refusal nothing remains staged. A cancel is a refusal without text.
[[nodiscard]] maybe_refusal prepare_sources(const QStringList &sources, const prepare_options &options,
                                            staging_area &staging, const on_progress &progress,
                                            QList<ready_source> &ready);
