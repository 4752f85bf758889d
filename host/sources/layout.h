/// Where the members of a source must be for the plug-in to read them.
///
/// The plug-in reads "apps/com.google.android.gm/{db,sp,f,r}" (the layout of Android backups) and "Mail". Other layouts
/// are mapped to these:
///
///     data/data/com.google.android.gm/..., data/user/N/com.google.android.gm/...    a file system, one source per user
///         databases -> db, shared_prefs -> sp, files -> f, anything else -> r
///         app_webview/Default/Cookies -> r/app_webview/Cookies, where that is absent or empty
///     Takeout/<folder>/*.mbox -> Mail/*.mbox, in any language of the folder; one source per "Takeout"
///     <anywhere>/Mail/*.mbox outside a "Takeout" -> Mail/*.mbox; one source per folder that contains "Mail"
///     <anywhere>/*.mbox -> Mail/..., when there is neither of the two above
#pragma once

#include <QList>
#include <QString>

#include <optional>
#include <span>

/// The facts about a member that decide on its place.
struct listed_member
{
    QString path;
    bool is_empty = false;
};

struct placed_member
{
    qsizetype index; ///< in the list of members
    QString place;   ///< below the root that the plug-in is given
    /// A companion of a second copy of a database: it must not be mixed with the first copy.
    bool of_second_copy = false;
};

/// One source for the plug-in.
struct placed_source
{
    QString scheme;
    /// Which of the given sources it is: the folder of its root ("" or ending in "/"), for a file system the folder of
    /// the data and the user ("img/user 10").
    QString root;
    QList<placed_member> members;
};

/// Where the plug-in would look for a file.
struct android_location
{
    QString root; ///< as in `placed_source`
    QString place;
};

/// Assign places to the regular files of a source. Members that the plug-in does not read, or only looks for by name,
/// get none. If several members belong in one place, all are returned, in their order.
[[nodiscard]] QList<placed_source> place_members(std::span<const listed_member> members);

/// Where a file of the Android application belongs, read or not; none when it is not of the application.
[[nodiscard]] std::optional<android_location> locate_android(const QString &path);

/// True for files that `place_members` may need: mbox files, and files of the application that the plug-in reads or
/// recognises.
[[nodiscard]] bool may_be_placed(const QString &path);

/// True for a folder ("" or ending in "/") whose files are only looked for, never read, in a layout read in place.
[[nodiscard]] bool has_names_only(const QString &folder);
