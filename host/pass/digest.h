/// Finds in one pass over a file's bytes its size, its SHA-256 and, for an mbox, the number of separator lines.
#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

/// Bytes that are read at a time.
inline constexpr qint64 hash_block_size = 1024 * 1024;

class file_digest
{
public:
    /// With `counting`, separator lines are counted; without `hashing`, `sha256` stays empty.
    file_digest(bool hashing, bool counting);
    ~file_digest();
    file_digest(file_digest &&) noexcept;
    file_digest &operator=(file_digest &&) = delete;

    void add(QByteArrayView bytes);

    [[nodiscard]] qint64 size() const { return bytes_in_all; }
    [[nodiscard]] qint64 separators() const { return separator_lines; }

    /// Hexadecimal, lower case. Call it once, at the end.
    [[nodiscard]] QString sha256();

private:
    struct hash_state;

    void count_separators(QByteArrayView bytes);

    std::unique_ptr<hash_state> hash;
    bool counts;
    QByteArray line_begin;    ///< of a line that may be a separator, from the block before
    bool inside_line = false; ///< that is already known to be a separator or not
    qint64 bytes_in_all = 0;
    qint64 separator_lines = 0;
};

/// Called with the size of each block; false ends the pass.
using on_block = std::function<bool(qint64 bytes)>;

/// The SHA-256 of a file, empty when it cannot be read or `go_on` ended the pass.
[[nodiscard]] QString sha256_of_file(const QString &path, const on_block &go_on);

/// The SHA-256 of a file's first `size` bytes, empty when it has fewer or as above.
[[nodiscard]] QString sha256_of_begin(const QString &path, qint64 size, const on_block &go_on);
