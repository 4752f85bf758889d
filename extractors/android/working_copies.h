/// The working copies of a step: made once for each source file, removed at the step's end.
#pragma once

#include <QMap>
#include <QString>

class plugin_helper_functions;

class working_copies
{
public:
    /// `helper` makes the copies; it outlives the object.
    explicit working_copies(const plugin_helper_functions &helper);
    ~working_copies(); ///< removes them
    Q_DISABLE_COPY_MOVE(working_copies)

    /// The path of a database's copy, which is made with its companions. If copying failed (logged), there is no file.
    /// Empty for an empty path, when the run is cancelled, and when there is no folder for copies.
    [[nodiscard]] QString path_of(const QString &source_path);

    /// Call this before the next database of a step, so that its copy does not take additional room.
    void remove_all();

private:
    const plugin_helper_functions &maker;
    QMap<QString, QString> copies; ///< by source path
};
