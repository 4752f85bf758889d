/// The files of the Gmail application in a source: where they are, and how their paths are written into rows.
#pragma once

#include "common/evidence_root.h"

#include <QStringList>

/// Paths are full paths, empty when there is no such file or directory.
struct android_source
{
    /// `path` below the source's root, with a leading "/".
    [[nodiscard]] QString relative_path(const QString &path) const;

    /// The value of source_file for rows that come from `path`.
    [[nodiscard]] QString source_file_of(const QString &path) const;

    /// The path that an attachment has in the cache, where files are named by id. Without a cache directory it is the
    /// id.
    [[nodiscard]] QString cached_attachment_path(const QString &attachment_id) const;

    /// "mailstore.A.db" belongs to account A. "mailstore." is looked for in the whole path; a path without it is itself
    /// the account.
    [[nodiscard]] static QString account_of_mail_store(const QString &path);

    /// Call this before a new search.
    void forget_paths();

    // From the source settings.
    QString virtual_source_path;
    QString source_type_internal;
    QString text_field_3; ///< the value of os_scheme_display
    evidence_root root;

    QString provider_db_path;
    QStringList mail_store_paths;
    QString warm_accounts_path;
    QString unified_email_path;        ///< located, but no step reads it
    QString body_dir_path;             ///< ends in "/"
    QString attachment_cache_dir_path; ///< ends in "/"
    QString cookie_store_path;
};
