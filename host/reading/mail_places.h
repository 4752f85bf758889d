/// The files that reading writes beside the result database.
#pragma once

#include "host/refusal.h"

#include <QFileInfo>
#include <QString>

inline constexpr QLatin1StringView mail_database_name{"Mail.sqlite"};
inline constexpr QLatin1StringView mail_parts_name{"Parts/"};

/// Refuse a database that already exists, unless `options` have `append` or `clear`.
template <class Options>
[[nodiscard]] maybe_refusal check_earlier_mail(const QString &directory, const Options &options)
{
    if (options.append || options.clear || !QFileInfo::exists(directory + mail_database_name))
        return {};
    return refusal{exit_status::bad_result,
                   directory + mail_database_name +
                       QLatin1StringView(": already exists; --clear replaces it, --append adds to it")};
}

/// Remove the output of an earlier reading from `directory`, which ends in "/": its database and the files in "Parts/"
/// that are named after their content. Other files stay.
void remove_earlier_mail(const QString &directory);
