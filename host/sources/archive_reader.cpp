#include "host/sources/archive_reader.h"

#include "host/sources/android_backup.h"

#include <QFile>

#include <archive.h>
#include <archive_entry.h>

#include <cerrno>
#include <cstdio>

namespace {

constexpr std::size_t block_size = 1024 * 1024;
constexpr qsizetype tar_record = 512; // bytes
constexpr qsizetype tar_mark_at = 257;
constexpr QByteArrayView end_of_zip_mark("PK\5\6");
constexpr QByteArrayView seven_zip_mark("7z\xBC\xAF");

QByteArray first_bytes(const QString &path, qint64 count)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(count) : QByteArray();
}

member::kind kind_of(archive_entry *entry)
{
    if (archive_entry_hardlink(entry) || archive_entry_symlink(entry))
        return member::kind::link;
    switch (archive_entry_filetype(entry)) {
    case AE_IFREG:
        return member::kind::file;
    case AE_IFDIR:
        return member::kind::directory;
    case AE_IFLNK:
        return member::kind::link;
    default:
        return member::kind::special;
    }
}

/// Empty when the name is valid in no encoding.
QString path_of(archive_entry *entry)
{
    if (const char *utf8 = archive_entry_pathname_utf8(entry))
        return QString::fromUtf8(utf8);
    const char *bytes = archive_entry_pathname(entry);
    return bytes ? QString::fromLocal8Bit(bytes) : QString();
}

} // namespace

bool begins_like_archive(const QString &path)
{
    const QByteArray bytes = first_bytes(path, tar_record);
    for (const QByteArrayView mark :
         {QByteArrayView("PK\3\4"), end_of_zip_mark, seven_zip_mark, QByteArrayView("\x1F\x8B"), QByteArrayView("BZh"),
          QByteArrayView("\xFD"
                         "7zXZ"),
          QByteArrayView("\x28\xB5\x2F\xFD")}) {
        if (bytes.startsWith(mark))
            return true;
    }
    return bytes.mid(tar_mark_at).startsWith("ustar") || android_backup::begins(bytes);
}

bool is_empty_zip(const QString &path)
{
    return first_bytes(path, end_of_zip_mark.size()) == end_of_zip_mark;
}

archive_reader::archive_reader(const QString &archive_path, still_wanted go_on, bool hash)
    : path(archive_path)
    , is_wanted(std::move(go_on))
    , file(archive_path)
    , handle(archive_read_new())
    , block(block_size, Qt::Uninitialized)
{
    if (hash)
        file.begin_hash();
}

archive_reader::~archive_reader()
{
    archive_read_free(handle);
}

bool archive_reader::fail_as_archive()
{
    const char *text = archive_error_string(handle);
    const QString said = text ? QString::fromUtf8(text) : QStringLiteral("it ends early");
    if (!is_wanted())
        return fail_as_cancelled();
    if (backup && !backup->error().isEmpty())
        return fail(backup->error());
    if (first_bytes(path, seven_zip_mark.size()) == seven_zip_mark && said.contains(u"rypt"))
        return fail(path + QLatin1StringView(": is an encrypted 7z archive, which is not supported; unpack it with "
                                             "another program and give the folder"));
    if (at_encrypted && password.isNull())
        return fail(path + QLatin1StringView(": is encrypted; set GMAIL_HOST_PASSWORD or run on a terminal"));
    if (at_encrypted)
        return fail(
            path +
            QLatin1StringView(": cannot be decrypted; the password is wrong or the encryption is not supported (") +
            said + u')');
    return fail(path + QLatin1StringView(": is truncated, damaged or not a readable archive (") + said + u')');
}

bool archive_reader::open()
{
    const bool is_backup = android_backup::begins(first_bytes(path, tar_record));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return fail(path + QLatin1StringView(": cannot be read (") + file.errorString() + u')');
    archive_read_support_format_tar(handle);
    return is_backup ? open_backup() : open_archive();
}

bool archive_reader::open_backup()
{
    backup = std::make_unique<android_backup>(file);
    if (!backup->open(is_wanted))
        return is_wanted() ? fail(backup->error()) : fail_as_cancelled();
    const auto give = [](archive *, void *self, const void **bytes) -> la_ssize_t {
        auto *reader = static_cast<archive_reader *>(self);
        const qint64 count = reader->backup->read({reader->block.data(), block_size});
        *bytes = reader->block.constData();
        if (count > 0) {
            reader->last_bytes += reader->block.first(count);
            reader->last_bytes = reader->last_bytes.last(qMin(reader->last_bytes.size(), tar_record));
        }
        if (count < 0)
            archive_set_error(reader->handle, -1, "unreadable");
        return count < 0 ? ARCHIVE_FATAL : count;
    };
    return archive_read_open(handle, this, nullptr, give, nullptr) == ARCHIVE_OK || fail_as_archive();
}

bool archive_reader::open_archive()
{
    archive_read_set_passphrase_callback(handle, this, [](archive *, void *self) -> const char * {
        auto *reader = static_cast<archive_reader *>(self);
        if (!reader->password.isNull())
            return nullptr; // asked again: it was wrong
        const std::optional<QString> given = source_password(reader->path, reader->is_wanted);
        if (!given)
            return nullptr;
        reader->password = QByteArray("").append(given->toUtf8());
        return reader->password.constData();
    });
    archive_read_support_filter_all(handle);
    archive_read_support_format_7zip(handle);
    // By its directory only: read as a stream, a zip truncated between two members would look whole.
    archive_read_support_format_zip_seekable(handle);
    archive_read_set_callback_data(handle, this);
    archive_read_set_read_callback(handle, [](archive *, void *self, const void **bytes) -> la_ssize_t {
        auto *reader = static_cast<archive_reader *>(self);
        const qint64 count = reader->file.read(reader->block.data(), reader->block.size());
        *bytes = reader->block.constData();
        if (count < 0)
            archive_set_error(reader->handle, EIO, "%s", qPrintable(reader->file.errorString()));
        return count < 0 ? ARCHIVE_FATAL : count;
    });
    archive_read_set_seek_callback(handle, [](archive *, void *self, la_int64_t offset, int whence) -> la_int64_t {
        QFile &from = static_cast<archive_reader *>(self)->file;
        const qint64 begin = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? from.pos() : from.size();
        return from.seek(begin + offset) ? from.pos() : la_int64_t(ARCHIVE_FATAL);
    });
    archive_read_set_skip_callback(handle, [](archive *, void *self, la_int64_t count) -> la_int64_t {
        QFile &from = static_cast<archive_reader *>(self)->file;
        const qint64 skipped = qMin<qint64>(count, qMax<qint64>(from.size() - from.pos(), 0));
        return from.seek(from.pos() + skipped) ? skipped : 0;
    });
    return archive_read_open1(handle) == ARCHIVE_OK || fail_as_archive();
}

QString archive_reader::format() const
{
    if (backup)
        return QStringLiteral("Android backup");
    switch (archive_format(handle) & ARCHIVE_FORMAT_BASE_MASK) {
    case ARCHIVE_FORMAT_ZIP:
        return QStringLiteral("zip");
    case ARCHIVE_FORMAT_7ZIP:
        return QStringLiteral("7z");
    default:
        return QStringLiteral("tar");
    }
}

/// A tar archive ends before its stream does, and only the very end of the stream shows whether it is truncated.
bool archive_reader::backup_ends_well()
{
    qint64 count = 0;
    while ((count = backup->read({block.data(), block_size})) > 0) {}
    return count == 0;
}

bool archive_reader::next(member &found)
{
    archive_entry *entry = nullptr;
    const int state = archive_read_next_header(handle, &entry);
    if (state == ARCHIVE_EOF)
        return backup && !backup_ends_well() && fail(backup->error());
    if (state != ARCHIVE_OK && state != ARCHIVE_WARN)
        return fail_as_archive();
    found = {.path = path_of(entry),
             .type = kind_of(entry),
             .declared_size = archive_entry_size_is_set(entry) ? archive_entry_size(entry) : 0,
             .modified = archive_entry_mtime_is_set(entry) ? archive_entry_mtime(entry) : -1,
             .encrypted = archive_entry_is_encrypted(entry) != 0};
    at_encrypted = found.encrypted;
    return true;
}

qint64 archive_reader::read(std::span<char> buffer)
{
    const la_ssize_t count = archive_read_data(handle, buffer.data(), buffer.size());
    if (count < 0)
        fail_as_archive();
    return count < 0 ? -1 : count;
}

QString archive_reader::doubt() const
{
    QByteArray end = last_bytes;
    if (!backup && format() == QLatin1StringView("tar") && archive_filter_count(handle) == 1) {
        QFile whole(path);
        if (whole.open(QIODevice::ReadOnly) && whole.seek(qMax<qint64>(whole.size() - tar_record, 0)))
            end = whole.readAll();
    }
    const bool has_end = end.isEmpty() || end == QByteArray(tar_record, '\0');
    return has_end ? QString() : path + QLatin1StringView(": has no end mark; it may be truncated");
}
