/// The data of the view of one mail, as JSON; its keys are those of `Details` and `Source` in the page's `data.ts`.
#pragma once

#include "host/results/report_mail.h"
#include "host/results/report_script.h"

/// Everything except what is rarely looked at.
void write_details(json_text &out, const report_mail &mail);

/// The headers and the HTML as stored, for those who ask for them.
void write_source(json_text &out, const report_mail &mail);
