/// The root of a source: evidence is listed and opened only through this class.
#pragma once

#include <QString>

#include <functional>

class cancel_flag;
class log_origin;
class QFile;

/// An entry that `evidence_root::walk` found.
struct evidence_entry
{
    QString directory; ///< its path, without a "/" at the end
    QString name;
    bool is_directory = false; ///< or a link to one

    [[nodiscard]] QString path() const { return directory + u'/' + name; }
};

/// Hands out nothing outside the source's root, even when a symbolic link leads there, and no pipes, sockets or
/// devices, which may never end. Links that stay inside are followed when they are opened.
///
/// Failures are logged in the name of an `origin`, each with its path.
class evidence_root
{
public:
    /// No root: everything counts as inside.
    evidence_root() = default;
    /// When `root` does not exist, everything counts as inside, too.
    explicit evidence_root(const QString &root);

    /// True when there is a file or directory at `path`. If a link leads out of the source to it, that is logged as a
    /// failure.
    [[nodiscard]] bool has(const QString &path, const log_origin &origin) const;

    using take_entry = std::function<void(const evidence_entry &)>;

    /// Call `take` for everything below `directory`, in the order of the file system, each directory before its
    /// contents. Hidden entries, links to nothing, pipes, sockets and devices are skipped; linked directories are
    /// handed on but not entered. A directory that does not exist is empty.
    ///
    /// Entries that may matter but cannot be handed on are failures: directories that may not be listed or entered,
    /// names that are not valid UTF-8 (Qt cannot open them), and links that lead out of the source.
    ///
    /// False when `cancelled` ended the walk.
    bool walk(const QString &directory, const cancel_flag &cancelled, const log_origin &origin,
              const take_entry &take) const;

    /// Open a file for reading, unbuffered. Returns why it could not be opened, or an empty text. Nothing is logged.
    [[nodiscard]] QString open(QFile &file) const;

    /// Log a failure for a directory that exists but may not be listed or entered.
    static void report_if_unreadable(const QString &directory, const log_origin &origin);

private:
    /// The place outside the source that `path` leads to; empty when it leads inside or nowhere.
    [[nodiscard]] QString place_outside(const QString &path) const;
    [[nodiscard]] bool leads_out(const QString &path, const log_origin &origin) const;

    QString canonical_root; ///< ends in "/"; empty when there is no such directory
};
