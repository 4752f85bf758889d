/// Exit statuses and refusals.
#pragma once

#include <QString>

#include <optional>

enum class exit_status : int {
    done = 0,
    wrong_usage = 2,
    done_with_failures = 3,
    bad_source = 4,
    bad_result = 5,
    no_library = 6,
    record_lost = 7,
    output_lost = 8,
    hung_up = 129,
    interrupted = 130,
    quit = 131,
    terminated = 143,
};

/// True when a signal ended the run.
[[nodiscard]] constexpr bool is_cancel(exit_status status)
{
    return int(status) > 128;
}

/// The list of exit statuses in `--help`.
inline constexpr char exit_status_help[] =
    "Exit status:\n"
    "  0    done\n"
    "  2    wrong usage\n"
    "  3    done, but with failures: the output or the log lists them\n"
    "  4    SOURCE missing or not recognised\n"
    "  5    RESULT_DIR missing, refused or not writable\n"
    "  6    the library cannot be loaded\n"
    "  7    done, but the record of the run (run.json) could not be written\n"
    "  8    done, but standard output could not be written\n"
    "  129, 130, 131, 143  cancelled by SIGHUP, SIGINT, SIGQUIT or SIGTERM; rows\n"
    "                      extracted so far are kept";

/// Why something cannot be done: one line that names the file and says what to do.
struct refusal
{
    exit_status status;
    QString text;
};

/// Empty when all is well.
using maybe_refusal = std::optional<refusal>;

/// A cancel is a refusal without text.
inline const refusal refused_as_cancelled = {exit_status::interrupted, {}};
