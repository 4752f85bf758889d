/// The password of an encrypted source.
#pragma once

#include <QString>

#include <functional>
#include <optional>

/// False once the run is cancelled. Called several times a second while the program waits for input.
using still_wanted = std::function<bool()>;

/// Taken from the environment variable GMAIL_HOST_PASSWORD, or asked for on the terminal, once in a run; never from the
/// command line, where other users of the machine see it. None when there is neither, or when `go_on` ends the wait;
/// the terminal is then as it was before.
[[nodiscard]] std::optional<QString> source_password(const QString &source, const still_wanted &go_on);
