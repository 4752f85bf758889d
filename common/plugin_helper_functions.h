/// The helper object that the plug-in object shares with its extractors: media types by extension, and working copies
/// of source files, so that evidence itself is never opened by SQLite.
#pragma once

#include <QWidget>

#include <atomic>

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

    /// The directory for working copies; ends in "/".
    void set_adhoc_parent_path(QString path);

    /// Copy a source file into the directory for working copies, under a name that is free there, and return the copy's
    /// path. A database is copied with its "-shm" and "-wal" companions. A copy that fails is only logged: nothing is
    /// then at the returned path (or the companion is missing). Empty for a blank path and when the run is cancelled.
    [[nodiscard]] QString get_adhoc_path_for_database(QString source_path) const;
    [[nodiscard]] QString get_adhoc_path_for_regular_file(QString source_path) const;

private:
    std::atomic_bool bool_cancel_extraction = false;
    QString adhoc_parent_path;
};
