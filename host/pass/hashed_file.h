/// A file that is hashed while it is read for another purpose.
#pragma once

#include "host/pass/digest.h"

#include <QFile>

#include <optional>

/// Open it unbuffered. The reader may seek: bytes are hashed if they follow those hashed before.
class hashed_file : public QFile
{
public:
    hashed_file() = default;
    explicit hashed_file(const QString &path)
        : QFile(path)
    {
    }

    /// Hash everything read from now on. Call it before the first byte is read.
    void begin_hash() { digest.emplace(true, false); }

    /// Read the bytes not yet read in order; returns the SHA-256 of the whole file. Empty when the file was not to be
    /// hashed, cannot be read to its end, or `go_on` ended it.
    [[nodiscard]] QString sha256(const on_block &go_on);

protected:
    qint64 readData(char *bytes, qint64 max_size) override;

private:
    std::optional<file_digest> digest;
};
