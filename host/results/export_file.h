/// A file of an export.
#pragma once

#include "host/refusal.h"

#include <QByteArray>
#include <QFile>

/// A new file of an export. Keeps its first failure, and drops anything written after it.
class export_file
{
public:
    /// The file must not exist.
    explicit export_file(const QString &path);

    void write(QByteArrayView bytes);
    void write(char byte)
    {
        if (filled == buffer.size())
            flush();
        buffer[filled++] = byte;
    }

    [[nodiscard]] bool has_failed() const { return failed; }

    /// Write the bytes that are still in memory. Call it at the end.
    [[nodiscard]] maybe_refusal close();

private:
    void flush();

    QFile file;
    QByteArray buffer;
    qsizetype filled = 0;
    bool failed = false;
    QString why;
};
