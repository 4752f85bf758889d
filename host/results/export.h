/// The formats of `gmail_host export`. Each writes its files and returns the lines that say how to read them.
#pragma once

#include "host/results/new_directory.h"
#include "host/results/result_reader.h"

#include <QStringList>

#include <functional>

/// What an export needs, and the lines that it adds.
struct export_job
{
    const result_reader &reader;
    const new_directory &directory;
    /// False once the user wants to stop.
    std::function<bool()> go_on;
    /// Lines for the file about the export, in addition to those that all formats have.
    QStringList about;
    /// Anything that could not be exported although the rest could; a sentence each.
    QStringList failures;
};

/// A cancel is a refusal without text. The files written so far are then to be removed.
[[nodiscard]] maybe_refusal cancelled_export();

/// A file per table, by RFC 4180, with a byte order mark.
[[nodiscard]] maybe_refusal export_csv(export_job &job);

/// A file per table, an object per row.
[[nodiscard]] maybe_refusal export_jsonl(export_job &job);

/// "timeline.tln": time, source, host, user and description of every time of every table, in the order of the times.
[[nodiscard]] maybe_refusal export_tln(export_job &job);
