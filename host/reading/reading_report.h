/// The results of reading and comparing, and how they are passed on: to the extraction that started it, to run.json and
/// to `--json`.
#pragma once

#include "host/reading/row_comparison.h"

#include <QJsonObject>

struct reading_report
{
    reading_totals reading;
    comparison_totals comparison;
    bool is_compared = false;
};

/// The counts, with the keys of run.json. Remarks and failures are not among them.
[[nodiscard]] QJsonObject counts_as_json(const reading_report &report);

/// The whole report, and back.
[[nodiscard]] QJsonObject as_json(const reading_report &report);
[[nodiscard]] reading_report report_of(const QJsonObject &object);

/// How the rows differ from the mails, for the summary: a line each.
[[nodiscard]] QStringList summary_lines(const reading_report &report);
