/// The root of a source: evidence is listed and opened only through here.
#pragma once

#include <QString>

#include <functional>

class cancel_flag;
class log_origin;
class QFile;

/// What `evidence_root::walk` came upon.
struct evidence_entry
{
    QString directory; ///< its path, without a "/" at the end
    QString name;
    bool is_directory = false; ///< or a link to one

    [[nodiscard]] QString path() const { return directory + u'/' + name; }
};

/// Nothing outside the source's root is handed out, however a symbolic link leads there, and no pipes, sockets or
/// devices, which may never end. Links that stay inside are followed when they are opened.
///
/// Failures are logged in the name of an `origin`, each with its path.
class evidence_root
{
public:
    /// Everything is inside.
    evidence_root() = default;
    /// A root that does not exist has everything inside, too.
    explicit evidence_root(const QString &root);

    /// True when there is a file or directory at `path`. One that a link has outside the source is a failure.
    [[nodiscard]] bool has(const QString &path, const log_origin &origin) const;

    using take_entry = std::function<void(const evidence_entry &)>;

    /// Call `take` for everything below `directory`, in the order of the file system, each directory before what is in
    /// it. Passed over are hidden entries, links to nothing, pipes, sockets and devices; linked directories are handed
    /// on but not entered. A directory that does not exist is empty.
    ///
    /// What cannot be handed on although it may be wanted is a failure: directories that may not be listed or entered,
    /// names that are not valid UTF-8 (Qt cannot open them), and links that lead out of the source.
    ///
    /// False when `cancelled` ended the walk.
    bool walk(const QString &directory, const cancel_flag &cancelled, const log_origin &origin,
              const take_entry &take) const;

    /// Open a file for reading, unbuffered. The result says why it could not be opened; it is empty when it was.
    /// Nothing is logged.
    [[nodiscard]] QString open(QFile &file) const;

    /// A directory that exists but may not be listed and entered is a failure.
    static void report_if_unreadable(const QString &directory, const log_origin &origin);

private:
    /// Where `path` leads, when that is outside; else empty, also when it leads nowhere.
    [[nodiscard]] QString place_outside(const QString &path) const;
    [[nodiscard]] bool leads_out(const QString &path, const log_origin &origin) const;

    QString canonical_root; ///< ends in "/"; empty when there is no such directory
};
