/// `gmail_host extract SOURCE RESULT_DIR`: one run of the plug-in, checked before and summed up after.
#pragma once

#include "host/extract_options.h"
#include "host/refusal.h"

class signal_watch;

[[nodiscard]] exit_status run_extract_command(extract_options options, signal_watch &signals_watched);
