#include "host/sources/staging.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <filesystem>
#include <system_error>

namespace {

constexpr QLatin1StringView name_begin("gmail_host-");
constexpr qint64 block_size = 1024 * 1024;
constexpr qint64 bytes_between_checks = 16 * block_size;
constexpr qint64 ratio_counts_from = 64 * block_size; // small files of zeros are not bombs

} // namespace

staging_area::staging_area(QString parent_directory, const staging_limits &given_limits)
    : parent(std::move(parent_directory))
    , limits(given_limits)
{
}

staging_area::~staging_area()
{
    remove();
}

void staging_area::remove()
{
    if (path.isEmpty())
        return;
    QDir(path).removeRecursively();
    QDir().rmdir(parent);
    path.clear();
}

void staging_area::remove_leftovers() const
{
    QDir directory(parent);
    for (const QFileInfo &entry : directory.entryInfoList({name_begin + QStringLiteral("*")}, QDir::Dirs))
        QDir(entry.filePath()).removeRecursively();
    QDir().rmdir(parent);
}

QString staging_area::folder(int number)
{
    if (path.isEmpty()) {
        QDir().mkpath(parent);
        QTemporaryDir directory(parent + u'/' + name_begin + QLatin1StringView("XXXXXX")); // for the user alone
        directory.setAutoRemove(false);
        path = directory.isValid() ? directory.path() : QString();
    }
    const QString result = path + u'/' + QString::number(number) + u'/';
    return !path.isEmpty() && QDir().mkpath(result) ? result : QString();
}

void staging_area::begin_source(const QString &source_path, qint64 size)
{
    source = source_path;
    source_size = size;
    bytes_of_source = 0;
}

maybe_refusal staging_area::count_member()
{
    if (++members <= limits.max_members)
        return {};
    return refusal{exit_status::bad_source,
                   QStringLiteral("%1: contains more than %2 members; raise --max-members if you "
                                  "trust it")
                       .arg(source)
                       .arg(limits.max_members)};
}

maybe_refusal staging_area::count_bytes(qint64 count)
{
    bytes_of_source += count;
    bytes_in_all += count;
    if (bytes_in_all > limits.max_bytes)
        return refusal{exit_status::bad_source,
                       QStringLiteral("%1: unpacks to more than %2 bytes; raise --max-bytes if you "
                                      "trust it")
                           .arg(source)
                           .arg(limits.max_bytes)};
    if (source_size > 0 && bytes_of_source > ratio_counts_from && bytes_of_source / source_size > limits.max_ratio)
        return refusal{exit_status::bad_source, QStringLiteral("%1: unpacks to more than %2 times its size; raise "
                                                               "--max-ratio if you trust it")
                                                    .arg(source)
                                                    .arg(limits.max_ratio)};
    return {};
}

maybe_refusal staging_area::check_room() const
{
    // (QStorageInfo only knows file systems that the system lists, which those of a container may not be.)
    std::error_code unknown;
    const std::filesystem::space_info disk = std::filesystem::space(QFile::encodeName(path).toStdString(), unknown);
    if (unknown || disk.available > static_cast<std::uintmax_t>(limits.min_free))
        return {};
    return refusal{exit_status::bad_result, QStringLiteral("%1: no room left to stage %2 (%3 bytes are kept free, see "
                                                           "--keep-free); choose a RESULT_DIR on a larger disk")
                                                .arg(parent, source)
                                                .arg(limits.min_free)};
}

maybe_refusal staging_area::stage(member_reader &reader, const QString &target, file_digest &digest,
                                  const on_block &go_on)
{
    QFile file(target);
    if (!target.isEmpty()) {
        if (maybe_refusal no_room = check_room())
            return no_room;
        QDir().mkpath(QFileInfo(target).path());
        if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
            return refusal{exit_status::bad_result,
                           QStringLiteral("%1: cannot be created (%2)").arg(target, file.errorString())};
    }
    QByteArray block(block_size, Qt::Uninitialized);
    for (qint64 count = 0; (count = reader.read({block.data(), static_cast<std::size_t>(block_size)})) != 0;) {
        if (count < 0)
            return reader.failure();
        const QByteArrayView bytes = QByteArrayView(block).first(count);
        digest.add(bytes);
        if (maybe_refusal too_much = count_bytes(count))
            return too_much;
        if (!target.isEmpty()) {
            if (bytes_in_all - bytes_at_check >= bytes_between_checks) {
                bytes_at_check = bytes_in_all;
                if (maybe_refusal no_room = check_room())
                    return no_room;
            }
            if (file.write(bytes.data(), bytes.size()) != bytes.size())
                return refusal{exit_status::bad_result,
                               QStringLiteral("%1: cannot be written (%2)").arg(target, file.errorString())};
        }
        if (!go_on(count))
            return refusal{exit_status::interrupted, {}};
    }
    return {};
}
