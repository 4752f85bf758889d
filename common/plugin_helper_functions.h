/// The helper object that the plug-in object shares with its extractors: media types by extension, and working copies
/// of source files, so that evidence itself is never opened by SQLite.
#pragma once

#include "common/cancel_flag.h"
#include "common/evidence_root.h"

#include <QStringList>
#include <QWidget>

class plugin_helper_functions : public QWidget
{
    Q_OBJECT

public:
    explicit plugin_helper_functions(QWidget *parent);

    void set_essentials(); ///< clears the cancel flag
    void set_cancel_extraction(bool cancelled);

    // By the last suffix of a file name or path, in any case. Every audio extension also counts as video. False when
    // there is no suffix and while the run is cancelled.

    [[nodiscard]] bool check_is_image_by_extn(QString file_name) const;
    [[nodiscard]] bool check_is_video_by_extn(QString file_name) const;
    [[nodiscard]] bool check_is_audio_by_extn(QString file_name) const;

    /// The directory for working copies; ends in "/". It is created when needed. Without one there are no copies.
    void set_adhoc_parent_path(QString path);

    /// Nothing outside this root is copied.
    void set_source_root(const evidence_root &root);

    /// Copy a source file into the directory for working copies, under a name that is free there, and return the copy's
    /// path. A database is copied with its "-shm" and "-wal" companions. A copy that fails is only logged: nothing is
    /// then at the returned path (or the companion is missing). Nothing that exists is ever overwritten or removed.
    /// Empty for a blank path, without a directory for working copies (logged), and when the run is cancelled.
    [[nodiscard]] QString get_adhoc_path_for_database(QString source_path) const;
    [[nodiscard]] QString get_adhoc_path_for_regular_file(QString source_path) const;

private:
    [[nodiscard]] QString working_copy(const QString &source_path, const QStringList &suffixes,
                                       const log_origin &origin) const;
    bool copy_file(const QString &source_path, const QString &copy_path, const log_origin &origin) const;
    static void log_failed_copy(const QString &source_path, const QString &failure, const log_origin &origin);

    cancel_flag bool_cancel_extraction;
    evidence_root source_root;
    QString adhoc_parent_path;
};
