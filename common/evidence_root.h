/// The root of a source, which evidence may not lead out of.
#pragma once

#include <QFileInfo>

class log_origin;

/// Files of a source are opened only through here: not those that a symbolic link has outside the source's root, and
/// no pipes, sockets or devices, which may never end. Links that stay inside are followed.
class evidence_root
{
public:
    evidence_root() = default;
    explicit evidence_root(const QString &root);

    /// True when the entry does not exist, or exists inside the root. Otherwise a failure with its path is logged in
    /// the name of `origin`.
    [[nodiscard]] bool holds(const QString &path, const log_origin &origin) const;

    /// The same for an entry of a directory that is known to lie inside: only a link can lead out.
    [[nodiscard]] bool holds_entry(const QFileInfo &entry, const log_origin &origin) const;

    /// Look at a directory that is about to be walked: when it may not be listed or entered, and for each entry whose
    /// name is no valid text (Qt passes over those), a failure with the path is logged in the name of `origin`. What is
    /// in them would otherwise be missing without a word. Nothing happens for other entries.
    static void tell_unreadable(const QFileInfo &directory, const log_origin &origin);

private:
    QString canonical_root; ///< ends in "/"; empty when there is no such directory, which holds everything
};

/// True for what can be read to an end: a regular file, or a link to one.
[[nodiscard]] bool is_regular_file(const QString &path);
