/// A directory that is created under another name beside its place, and renamed when everything is in it.
#pragma once

#include "host/refusal.h"

class new_directory
{
public:
    new_directory() = default;
    /// Removes an unfinished directory.
    ~new_directory();
    Q_DISABLE_COPY_MOVE(new_directory)

    /// Create the future `target`. Refused when it cannot be created there.
    [[nodiscard]] maybe_refusal make(const QString &target);

    /// Path of a file or directory in it; no "/" at its end for the directory itself.
    [[nodiscard]] QString path(const QString &name = {}) const
    {
        return name.isEmpty() ? unfinished : QString(unfinished + u'/' + name);
    }

    /// Give the directory its name. Anything that already has that name is replaced, or kept if this fails.
    [[nodiscard]] maybe_refusal finish();

private:
    QString wanted;
    QString unfinished; ///< empty when there is nothing to remove
};
