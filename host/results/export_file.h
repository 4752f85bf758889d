/// The directory of an export: made under another name beside its place, and renamed when everything is in it.
#pragma once

#include "host/refusal.h"

#include <QByteArray>
#include <QFile>

class export_directory
{
public:
    export_directory() = default;
    /// Removes what is not finished.
    ~export_directory();
    Q_DISABLE_COPY_MOVE(export_directory)

    /// Begin an export that will be `target`. Refused when that exists, or cannot be made.
    [[nodiscard]] maybe_refusal make(const QString &target);

    /// Path of a file or directory in it; no "/" at its end for the directory itself.
    [[nodiscard]] QString path(const QString &name = {}) const
    {
        return name.isEmpty() ? unfinished : QString(unfinished + u'/' + name);
    }

    /// Give the directory its name.
    [[nodiscard]] maybe_refusal finish();

private:
    QString wanted;
    QString unfinished; ///< empty when there is nothing to remove
};

/// A new file of an export. Keeps its first failure, and drops what is written after it.
class export_file
{
public:
    /// The file must not exist. `shown_path` is what failures call it.
    explicit export_file(const QString &path);

    void write(QByteArrayView bytes);
    void write(char byte)
    {
        if (filled == buffer.size())
            flush();
        buffer[filled++] = byte;
    }

    [[nodiscard]] bool has_failed() const { return failed; }

    /// Write what is still in memory. Call it at the end.
    [[nodiscard]] maybe_refusal close();

private:
    void flush();

    QFile file;
    QByteArray buffer;
    qsizetype filled = 0;
    bool failed = false;
    QString why;
};
