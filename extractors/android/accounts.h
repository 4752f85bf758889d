/// The accounts of a source, as other steps need them.
#pragma once

#include <QString>

/// The address of the provider database's first account: a null text when it is NULL, an empty one when there is no
/// account or the database, of which `copy` is the working copy, cannot be read. Failures are logged.
[[nodiscard]] QString get_gmail_account_id(const QString &copy);
