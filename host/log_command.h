/// `gmail_host log FILE`: a debug log as plain lines.
#pragma once

#include "host/refusal.h"

/// Print the lines to standard output, and to standard error which pieces could not be deciphered.
[[nodiscard]] exit_status run_log_command(const QString &path);
