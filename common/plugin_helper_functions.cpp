#include "common/plugin_helper_functions.h"

#include "common/evidence_root.h"
#include "common/log_line.h"
#include "common/media_extensions.h"
#include "common/plugin_static_function.h"

#include <QFile>

#ifdef Q_OS_LINUX
#include <unistd.h>
#endif

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

constexpr qint64 block_size = 4 * 1024 * 1024; // copied between two looks at the cancel flag

/// Why the file could not be copied; empty when it was, and when the copying was cancelled.
QString why_not_copied(QFile &source, QFile &copy, const std::atomic_bool &cancelled)
{
    if (!is_regular_file(source.fileName()) && QFileInfo::exists(source.fileName()))
        return QStringLiteral("Not a regular file"); // a named pipe would never end
    if (!source.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return source.errorString();
    if (!copy.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        return copy.errorString();
    const qint64 size = source.size();
    qint64 copied = 0;
    qint64 count = 1;
#ifdef Q_OS_LINUX
    // As far as the kernel can do it by itself; what it leaves, an error included, is left to the loop below.
    while (count > 0 && !cancelled) {
        count = ::copy_file_range(source.handle(), nullptr, copy.handle(), nullptr, block_size, 0);
        copied += qMax<qint64>(count, 0);
    }
    count = 1;
#endif
    QByteArray block(block_size, Qt::Uninitialized);
    while (count > 0 && !cancelled) {
        count = source.read(block.data(), block.size());
        if (count < 0)
            return source.errorString();
        if (copy.write(block.constData(), count) != count)
            return copy.errorString();
        copied += count;
    }
    return cancelled || copied >= size ? QString() : QStringLiteral("The file became shorter meanwhile");
}

/// Copy one file. What cannot be copied whole is not left behind in part: a database cut short reads as a damaged one.
void copy_file(const QString &source_path, const QString &copy_path, const std::atomic_bool &cancelled,
               const log_origin &origin)
{
    QFile source(source_path);
    QFile copy(copy_path);
    const QString failure = why_not_copied(source, copy, cancelled);
    if (copy.isOpen() && (cancelled || !failure.isEmpty()))
        copy.remove();
    if (!failure.isEmpty())
        log_line({"[copy of source file] ----FAILED---- :", origin}, source_path, u" error: ", failure);
}

/// Copy a source file into `directory` under a name that is free there.
QString copy_into(const QString &directory, const QString &source_path, const std::atomic_bool &cancelled,
                  const log_origin &origin)
{
    if (source_path.trimmed().isEmpty())
        return {};
    const QString name = plugin_static_function::get_available_file(source_path, directory, origin.signature());
    if (name.isEmpty())
        return {};
    QString copy = directory + name;
    QFile::remove(copy);
    copy_file(source_path, copy, cancelled, origin);
    return cancelled ? QString() : copy;
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
    QString copy = copy_into(adhoc_parent_path, source_path, bool_cancel_extraction, origin);
    if (copy.isEmpty())
        return {};
    for (const QLatin1StringView companion : {QLatin1StringView("-shm"), QLatin1StringView("-wal")}) {
        if (QFile::exists(source_path + companion))
            copy_file(source_path + companion, copy + companion, bool_cancel_extraction, origin); // only a new file
    }
    if (bool_cancel_extraction) {
        QFile::remove(copy);
        return {};
    }
    return copy;
}

QString plugin_helper_functions::get_adhoc_path_for_regular_file(QString source_path) const
{
    return copy_into(adhoc_parent_path, source_path, bool_cancel_extraction, {});
}
