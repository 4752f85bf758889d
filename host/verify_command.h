/// `gmail_host verify`: does a result, and where it can be reached its source, still match the run's record?
#pragma once

#include "host/refusal.h"

/// One line per item on standard output. A source that cannot be reached is told, and no failure.
[[nodiscard]] exit_status run_verify_command(const QString &result_dir);
