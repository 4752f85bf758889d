/// The rows of the artifact tables as data files of a report.
#pragma once

#include "host/results/report_script.h"
#include "host/results/result_reader.h"

#include <functional>

/// Write all rows of the artifact tables into "<table>-0.js", ... of the directory, and their description for the page
/// to `described`, a list. `go_on` is called for each row.
[[nodiscard]] maybe_refusal write_tables(const result_reader &reader, const QString &directory,
                                         const std::function<bool()> &go_on, json_text &described);
