#include "host/reading/android_bodies.h"

#include "host/source_kinds.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <zlib.h>

namespace {

constexpr qsizetype max_body_folders = 1000;
constexpr qint64 max_body_file = qint64(64) * 1024 * 1024;            ///< bytes
constexpr qsizetype max_inflated_bytes = qsizetype(16) * 1024 * 1024; ///< plus this multiple of the stored size:
constexpr qsizetype max_inflated_ratio = 8;

} // namespace

body_files::body_files(const QString &root)
    : folders(root + body_place.chopped(1))
{
    for (QDirIterator below(folders.first(), QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks,
                            QDirIterator::Subdirectories);
         below.hasNext() && folders.size() < max_body_folders;)
        folders.append(below.next());
}

std::optional<QByteArray> body_files::body_of(const QByteArray &id) const
{
    if (!is_whole_number(id))
        return {};
    for (const QString &folder : folders) {
        for (const char *suffix : {".html", ".txt"}) {
            const QString path = folder + u'/' + QString::fromLatin1(id + suffix);
            if (QFileInfo::exists(path))
                return bytes_of_file(path, max_body_file);
        }
    }
    return {};
}

QByteArray inflated_body(const QByteArray &compressed, QByteArrayList &problems)
{
    if (compressed.isEmpty())
        return {};
    const qsizetype limit = max_inflated_bytes + max_inflated_ratio * compressed.size();
    z_stream stream = {};
    if (inflateInit(&stream) != Z_OK)
        return {};
    QByteArray bytes;
    QByteArray block(64 * 1024, Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(compressed.constData()));
    stream.avail_in = static_cast<uInt>(compressed.size());
    int result = Z_OK;
    while (result == Z_OK && bytes.size() < limit) {
        stream.next_out = reinterpret_cast<Bytef *>(block.data());
        stream.avail_out = static_cast<uInt>(block.size());
        result = inflate(&stream, Z_NO_FLUSH);
        bytes.append(block.constData(), block.size() - static_cast<qsizetype>(stream.avail_out));
    }
    inflateEnd(&stream);
    if (result == Z_OK)
        problems.append("The compressed body expands to far more than its stored size; everything after " +
                        QByteArray::number(bytes.size()) + " bytes was left out.");
    else if (result != Z_STREAM_END)
        problems.append(bytes.isEmpty() ? "The compressed body is damaged and could not be read."
                                        : "The compressed body is damaged; it was read up to the damage.");
    return bytes;
}

QByteArray bytes_of_file(const QString &path, qint64 max_bytes)
{
    QFile file(path);
    const bool is_readable = QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly) && file.size() <= max_bytes;
    return is_readable ? file.readAll() : QByteArray();
}

bool is_whole_number(const QByteArray &text)
{
    bool is_one = false;
    static_cast<void>(text.trimmed().toLongLong(&is_one));
    return is_one;
}
