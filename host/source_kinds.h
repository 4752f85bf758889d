/// The kinds of source: how each is recognised, which of its files are read, and which tables they fill. This table is
/// the only place for these facts.
#pragma once

#include <QLatin1StringView>
#include <QString>

#include <span>

/// A table of a source's database whose rows become rows of a table of the result.
struct read_table
{
    QLatin1StringView name;
    QLatin1StringView result_table;
    QLatin1StringView columns;          ///< that the extraction selects, separated by commas
    bool once_per_warm_account = false; ///< each row gives one for every account in `warm_accounts_place`
};

/// Files of a source that matter.
struct read_place
{
    enum class use {
        mail,        ///< an mbox
        database,    ///< with its companions "-wal" and "-shm"
        settings,    ///< read whole
        name_only,   ///< only its existence is checked
        newer_store, ///< a mail store that no version of the plug-in reads
    };

    use how;
    QLatin1StringView folder;     ///< below the root; ends in "/"
    QLatin1StringView name_begin; ///< of the file; the whole name when `name_end` is null
    QLatin1StringView name_end;
    bool below = false;                      ///< also in the folder's own folders
    std::span<const read_table> tables = {}; ///< of a database
};

struct source_kind
{
    QLatin1StringView scheme;           ///< os scheme
    QLatin1StringView mark;             ///< folder below the root that shows the kind; empty when nothing is extracted
    std::span<const read_place> places; ///< the first that fits a file counts
    bool counts_tables_as_one = false;  ///< in the plug-in's progress
};

inline constexpr QLatin1StringView takeout_scheme("gTakeoutOS");
inline constexpr QLatin1StringView android_scheme("androidOS");
inline constexpr QLatin1StringView android_root("apps/com.google.android.gm/");
inline constexpr QLatin1StringView mail_root("Mail/");
inline constexpr QLatin1StringView mbox_suffix(".mbox");
inline constexpr QLatin1StringView cookie_place("apps/com.google.android.gm/r/app_webview/Cookies");
inline constexpr QLatin1StringView newer_cookie_place("apps/com.google.android.gm/r/app_webview/Default/Cookies");
inline constexpr QLatin1StringView provider_place("apps/com.google.android.gm/db/EmailProvider.db");
inline constexpr QLatin1StringView database_folder("apps/com.google.android.gm/db/");
inline constexpr QLatin1StringView cached_attachments_place("apps/com.google.android.gm/db/1.db_att/");
inline constexpr QLatin1StringView body_place("apps/com.google.android.gm/f/body/0/");
inline constexpr QLatin1StringView warm_accounts_place("apps/com.google.android.gm/sp/warm_accounts_preferences.xml");

/// All kinds, in the plug-in's order.
[[nodiscard]] std::span<const source_kind> source_kinds();

/// Null for a scheme that is not known.
[[nodiscard]] const source_kind *kind_of_scheme(QStringView scheme);

/// How the plug-in uses a file at `path` below a source's root; null when it does not. A companion of a database counts
/// as the database. Hidden mbox files are ignored.
[[nodiscard]] const read_place *place_of(QStringView path);

/// True when the plug-in reads the content of a file at `path` below the root.
[[nodiscard]] bool is_read_at(QStringView path);

/// True for a file or folder that the plug-in finds by listing folders: it logs those that it cannot read.
[[nodiscard]] bool is_walked(QStringView path);

/// True when the plug-in only checks whether a file exists at `path`.
[[nodiscard]] bool is_looked_for(QStringView path);

/// `path` without the suffix of a database's companion.
[[nodiscard]] QStringView without_companion_suffix(QStringView path);
