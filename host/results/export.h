/// The formats of `gmail_host export`. Each writes its files and returns the lines that say how to read them.
#pragma once

#include "host/results/new_directory.h"
#include "host/results/result_reader.h"

#include <QStringList>

#include <functional>

/// What an export needs, and what it finds out.
struct export_job
{
    const result_reader &reader;
    const new_directory &directory;
    /// False once the user wants to stop.
    std::function<bool()> go_on;
    /// What goes into the file about the export, besides what all formats have in common.
    QStringList about;
    /// What could not be exported although the rest could; a sentence each.
    QStringList failures;
};

/// A cancel is a refusal without text. What was written then is to be removed.
[[nodiscard]] maybe_refusal cancelled_export();

/// A file per table, by RFC 4180, with a byte order mark.
[[nodiscard]] maybe_refusal export_csv(export_job &job);

/// A file per table, an object per row.
[[nodiscard]] maybe_refusal export_jsonl(export_job &job);

/// "timeline.tln": time, source, host, user and description of every time of every table, in the order of the times.
[[nodiscard]] maybe_refusal export_tln(export_job &job);
