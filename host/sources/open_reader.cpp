#include "host/sources/open_reader.h"

#include "host/evidence.h"
#include "host/sources/archive_reader.h"

#include <QFile>
#include <QFileInfo>

maybe_refusal open_reader(const QString &path, const reader_options &options, std::unique_ptr<member_reader> &reader)
{
    if (maybe_refusal unreadable = check_given(path))
        return unreadable;
    const QFileInfo info(path);
    if (info.isDir()) {
        reader = std::make_unique<directory_reader>(path, options.leave_out);
        return {};
    }
    if (info.size() == 0)
        return refusal{exit_status::bad_source, path + QLatin1StringView(": is empty")};
    if (is_empty_zip(path))
        return refusal{exit_status::bad_source, path + QLatin1StringView(": is an empty archive")};
    if (begins_like_archive(path)) {
        auto archive = std::make_unique<archive_reader>(path, options.go_on, options.hash);
        if (!archive->open())
            return archive->failure();
        reader = std::move(archive);
        return {};
    }
    QFile file(path);
    const bool is_mbox = path.endsWith(u".mbox") || (file.open(QIODevice::ReadOnly) && file.read(5) == "From ");
    if (!is_mbox)
        return refusal{exit_status::bad_source,
                       path +
                           QLatin1StringView(": not recognised as a source: neither a directory nor an archive nor an "
                                             "mbox file")};
    reader = std::make_unique<mbox_reader>(path, options.hash);
    return {};
}
