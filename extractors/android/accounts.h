/// The account of a source that other steps write into their rows.
#pragma once

#include <QString>

/// The address of the provider database's first account: a null text when it is NULL, an empty one when there is none
/// or the working copy at `copy` cannot be read. Failures are logged.
[[nodiscard]] QString get_gmail_account_id(const QString &copy);
