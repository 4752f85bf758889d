/// The password of an enciphered source.
#pragma once

#include <QString>

#include <optional>

/// Taken from the environment variable GMAIL_HOST_PASSWORD, or asked for on the terminal, once in a run; never from the
/// command line, where other users of the machine see it. None when there is neither.
[[nodiscard]] std::optional<QString> source_password(const QString &source);
