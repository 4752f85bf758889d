/// `gmail_host inspect`: what a source is and what a run would read, without extracting.
#pragma once

#include "host/extract_options.h"
#include "host/refusal.h"

class signal_watch;

[[nodiscard]] exit_status run_inspect_command(const extract_options &options, signal_watch &signals_watched);
