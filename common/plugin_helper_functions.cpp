#include "common/plugin_helper_functions.h"

#include "common/log_line.h"
#include "common/media_extensions.h"
#include "common/plugin_static_function.h"

#include <QFile>

#include <filesystem>

namespace {

/// The last suffix in lower case, without its dot; empty when there is none or it does not begin with an ASCII letter
/// or digit.
QString suffix_of(const QString &file_name)
{
    if (file_name.endsWith(u'.'))
        return {};
    const QString name = file_name.toLower().trimmed();
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot < 0 || dot + 1 == name.size())
        return {};
    const char16_t first = name.at(dot + 1).unicode();
    const bool known = (first >= u'0' && first <= u'9') || (first >= u'a' && first <= u'z');
    return known ? name.mid(dot + 1) : QString();
}

/// Copy one file. What cannot be copied whole is not left behind in part: a database cut short reads as a damaged one.
void copy_file(const QString &source_path, const QString &copy_path, const log_origin &origin)
{
    const std::filesystem::path source(QFile::encodeName(source_path).toStdString());
    const std::filesystem::path copy(QFile::encodeName(copy_path).toStdString());
    std::error_code failure;
    std::error_code ignored;
    std::filesystem::copy_file(source, copy, failure); // regular files only: a named pipe would never end
    if (!failure)
        // The copy of a write-protected file has to let SQLite recover its write-ahead log.
        std::filesystem::permissions(copy, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                                     std::filesystem::perm_options::add, ignored);
    else if (failure != std::errc::file_exists)
        std::filesystem::remove(copy, ignored);
    if (failure)
        log_line({"[copy of source file] ----FAILED---- :", origin}, source_path,
                 QString::fromStdString(" error: " + failure.message()));
}

/// Copy a source file into `directory` under a name that is free there.
QString copy_into(const QString &directory, const QString &source_path, const log_origin &origin)
{
    if (source_path.trimmed().isEmpty())
        return {};
    const QString name = plugin_static_function::get_available_file(source_path, directory, origin.signature());
    if (name.isEmpty())
        return {};
    QString copy = directory + name;
    QFile::remove(copy);
    copy_file(source_path, copy, origin);
    return copy;
}

} // namespace

plugin_helper_functions::plugin_helper_functions(QWidget *parent)
    : QWidget(parent)
{
}

void plugin_helper_functions::set_essentials()
{
    bool_cancel_extraction = false;
}

void plugin_helper_functions::set_cancel_extraction(bool cancelled)
{
    bool_cancel_extraction = cancelled;
}

bool plugin_helper_functions::check_is_image_by_extn(QString file_name) const
{
    return !bool_cancel_extraction && media_extensions::is_image(suffix_of(file_name));
}

bool plugin_helper_functions::check_is_video_by_extn(QString file_name) const
{
    return !bool_cancel_extraction &&
           (media_extensions::is_video(suffix_of(file_name)) || check_is_audio_by_extn(file_name));
}

bool plugin_helper_functions::check_is_audio_by_extn(QString file_name) const
{
    return !bool_cancel_extraction && media_extensions::is_audio(suffix_of(file_name));
}

void plugin_helper_functions::set_adhoc_parent_path(QString path)
{
    adhoc_parent_path = path;
}

QString plugin_helper_functions::get_adhoc_path_for_database(QString source_path) const
{
    const log_origin origin;
    QString copy = copy_into(adhoc_parent_path, source_path, origin);
    if (copy.isEmpty())
        return {};
    for (const QLatin1StringView companion : {QLatin1StringView("-shm"), QLatin1StringView("-wal")}) {
        if (QFile::exists(source_path + companion))
            copy_file(source_path + companion, copy + companion, origin); // never over a companion that is there
    }
    return copy;
}

QString plugin_helper_functions::get_adhoc_path_for_regular_file(QString source_path) const
{
    return copy_into(adhoc_parent_path, source_path, {});
}
