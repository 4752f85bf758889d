/// Reads a file once and hands each block to all consumers.
#pragma once

#include "host/pass/digest.h"

#include <span>

/// A file's identity as the file system knows it. If it is the same before and after, the file was neither written nor
/// replaced in between.
struct file_identity
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = -1;     ///< bytes; -1 for a file that is not there
    qint64 modified = -1; ///< nanoseconds since the epoch, as is `changed`
    qint64 changed = -1;

    bool operator==(const file_identity &) const = default;
};

[[nodiscard]] file_identity identity_of(const QString &path);

/// Receives a file's bytes in order.
class byte_consumer
{
public:
    byte_consumer() = default;
    virtual ~byte_consumer() = default;
    Q_DISABLE_COPY_MOVE(byte_consumer)

    virtual void take(QByteArrayView bytes) = 0;
};

enum class pass_end {
    complete,
    unreadable, ///< the file could not be opened or not read to its end
    stopped,    ///< `go_on` returned false
};

/// Read the file once. Each block is handed to all consumers before the next one is read, so that only one block is in
/// memory.
[[nodiscard]] pass_end read_file(const QString &path, std::span<byte_consumer *const> consumers, const on_block &go_on);
