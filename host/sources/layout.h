/// Where the members of a source have to lie for the plug-in to read them.
///
/// The plug-in reads "apps/com.google.android.gm/{db,sp,f,r}" (the layout of Android backups) and "Mail". Other layouts
/// are mapped to these:
///
///     data/data/com.google.android.gm/..., data/user/N/com.google.android.gm/...    a file system, one source per user
///         databases -> db, shared_prefs -> sp, files -> f, anything else -> r
///         app_webview/Default/Cookies -> r/app_webview/Cookies, where that is absent or empty
///     Takeout/<folder>/*.mbox -> Mail/*.mbox, whatever the language of the folder
///     <anywhere>/*.mbox -> Mail/..., when there is none of the above
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <span>

/// What is known of a member when places are assigned.
struct listed_member
{
    QString path;
    bool is_empty = false;
};

struct placed_member
{
    qsizetype index;     ///< in the list of members
    QString place;       ///< below the root that the plug-in is given
    bool content = true; ///< false when the plug-in only asks whether it is there
};

/// One source for the plug-in.
struct placed_source
{
    QString scheme;
    QString user; ///< Android user, or the folder that holds the application's data; empty when there is but one
    QList<placed_member> members;
};

/// Assign places to the regular files of a source. Members that the plug-in does not read get none. Members for one
/// place are all given, in their order.
[[nodiscard]] QList<placed_source> place_members(std::span<const listed_member> members);

/// True when the plug-in reads the content of a file at this place.
[[nodiscard]] bool is_read_at(const QString &place);
