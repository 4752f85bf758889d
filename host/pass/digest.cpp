#include "host/pass/digest.h"

#include <QFile>

#include <openssl/evp.h>

#include <cstring>
#include <limits>

namespace {

// A separator line begins with "From ", also after a byte order mark. The plug-in's splitter has the same rule; this
// one is written independently, so that its rows can be checked.
constexpr QByteArrayView separator("From ");
constexpr QByteArrayView marked_separator("\xEF\xBB\xBF"
                                          "From ");

bool begins_separator(QByteArrayView line)
{
    return line.startsWith(separator) || line.startsWith(marked_separator);
}

} // namespace

struct file_digest::hash_state
{
    EVP_MD_CTX *context = EVP_MD_CTX_new();

    hash_state() { EVP_DigestInit_ex(context, EVP_sha256(), nullptr); }
    ~hash_state() { EVP_MD_CTX_free(context); }
    Q_DISABLE_COPY_MOVE(hash_state)
};

file_digest::file_digest(bool hashing, bool counting)
    : hash(hashing ? std::make_unique<hash_state>() : nullptr)
    , counts(counting)
{
}

file_digest::~file_digest() = default;
file_digest::file_digest(file_digest &&) noexcept = default;

void file_digest::add(QByteArrayView bytes)
{
    bytes_in_all += bytes.size();
    if (hash)
        EVP_DigestUpdate(hash->context, bytes.data(), static_cast<std::size_t>(bytes.size()));
    if (counts)
        count_separators(bytes);
}

void file_digest::count_separators(QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        if (!inside_line && line_begin.isEmpty() && bytes.size() >= marked_separator.size()) {
            separator_lines += begins_separator(bytes) ? 1 : 0;
            inside_line = true;
        }
        if (!inside_line) { // at the end of a block, or at the beginning of the next one
            const qsizetype taken = qMin(marked_separator.size() - line_begin.size(), bytes.size());
            const qsizetype line_feed = bytes.first(taken).indexOf('\n');
            line_begin.append(bytes.first(line_feed < 0 ? taken : line_feed + 1));
            const bool enough = line_feed >= 0 || line_begin.size() == marked_separator.size();
            if (!enough && !begins_separator(line_begin))
                return; // the block ends here
            separator_lines += begins_separator(line_begin) ? 1 : 0;
            bytes = bytes.sliced(line_feed < 0 ? taken : line_feed + 1);
            inside_line = line_feed < 0;
            line_begin.clear();
            continue;
        }
        const void *line_feed = std::memchr(bytes.data(), '\n', static_cast<std::size_t>(bytes.size()));
        if (!line_feed)
            return;
        bytes = bytes.sliced(static_cast<const char *>(line_feed) + 1 - bytes.data());
        inside_line = false;
    }
}

QString file_digest::sha256()
{
    if (!hash)
        return {};
    QByteArray result(EVP_MAX_MD_SIZE, '\0');
    unsigned int size = 0;
    EVP_DigestFinal_ex(hash->context, reinterpret_cast<unsigned char *>(result.data()), &size);
    return QString::fromLatin1(result.first(size).toHex());
}

namespace {

/// The SHA-256 of at most `max_size` bytes, and how many there were.
QString sha256_of_bytes(const QString &path, qint64 max_size, const on_block &go_on, qint64 &size)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return {};
    file_digest digest(true, false);
    QByteArray block(qBound<qint64>(4096, file.size() + 1, hash_block_size), Qt::Uninitialized);
    while (digest.size() < max_size) {
        const qint64 count = file.read(block.data(), qMin<qint64>(block.size(), max_size - digest.size()));
        if (count == 0)
            break;
        if (count < 0 || !go_on(count))
            return {};
        digest.add(QByteArrayView(block).first(count));
    }
    size = digest.size();
    return digest.sha256();
}

} // namespace

QString sha256_of_file(const QString &path, const on_block &go_on)
{
    qint64 size = 0;
    return sha256_of_bytes(path, std::numeric_limits<qint64>::max(), go_on, size);
}

QString sha256_of_begin(const QString &path, qint64 size, const on_block &go_on)
{
    qint64 read = 0;
    const QString hash = sha256_of_bytes(path, size, go_on, read);
    return read == size ? hash : QString();
}
