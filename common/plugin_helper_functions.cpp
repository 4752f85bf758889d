#include "common/plugin_helper_functions.h"

#include "common/log_line.h"
#include "common/media_extensions.h"
#include "common/plugin_static_function.h"

#include <QFile>

#ifdef Q_OS_LINUX
#    include <unistd.h>
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

constexpr qint64 block_size = 4 * 1024 * 1024; // bytes copied between two checks of the cancel flag

/// Copies `source`. Returns why its end was not reached, or an empty text, also after a cancel.
QString why_not_copied(QFile &source, QFile &copy, const cancel_flag &cancelled)
{
    const qint64 size = source.size();
    qint64 copied = 0;
    qint64 count = 1;
#ifdef Q_OS_LINUX
    // The kernel copies as much as it can; the loop below does the rest and reports errors.
    while (count > 0 && !cancelled.is_set()) {
        count = ::copy_file_range(source.handle(), nullptr, copy.handle(), nullptr, block_size, 0);
        copied += qMax<qint64>(count, 0);
    }
    count = 1;
#endif
    QByteArray block(block_size, Qt::Uninitialized);
    while (count > 0 && !cancelled.is_set()) {
        count = source.read(block.data(), block.size());
        if (count < 0)
            return source.errorString();
        if (copy.write(block.constData(), count) != count)
            return copy.errorString();
        copied += count;
    }
    return cancelled.is_set() || copied >= size ? QString() : QStringLiteral("The file became shorter meanwhile");
}

} // namespace

plugin_helper_functions::plugin_helper_functions(QWidget *parent)
    : QWidget(parent)
{
}

void plugin_helper_functions::set_essentials()
{
    bool_cancel_extraction.set(false);
}

void plugin_helper_functions::set_cancel_extraction(bool cancelled)
{
    bool_cancel_extraction.set(cancelled);
}

bool plugin_helper_functions::check_is_image_by_extn(QString file_name) const
{
    return !bool_cancel_extraction.is_set() && media_extensions::is_image(suffix_of(file_name));
}

bool plugin_helper_functions::check_is_video_by_extn(QString file_name) const
{
    return !bool_cancel_extraction.is_set() &&
           (media_extensions::is_video(suffix_of(file_name)) || check_is_audio_by_extn(file_name));
}

bool plugin_helper_functions::check_is_audio_by_extn(QString file_name) const
{
    return !bool_cancel_extraction.is_set() && media_extensions::is_audio(suffix_of(file_name));
}

void plugin_helper_functions::set_adhoc_parent_path(QString path)
{
    adhoc_parent_path = path;
}

void plugin_helper_functions::set_source_root(const evidence_root &root)
{
    source_root = root;
}

QString plugin_helper_functions::get_adhoc_path_for_database(QString source_path) const
{
    return working_copy(source_path, {QString(), QStringLiteral("-shm"), QStringLiteral("-wal")}, {});
}

QString plugin_helper_functions::get_adhoc_path_for_regular_file(QString source_path) const
{
    return working_copy(source_path, {QString()}, {});
}

/// Copies a file and those of its companions that exist; a missing file is tried, too, so that it is logged.
QString plugin_helper_functions::working_copy(const QString &source_path, const QStringList &suffixes,
                                              const log_origin &origin) const
{
    if (source_path.trimmed().isEmpty())
        return {};
    if (adhoc_parent_path.isEmpty()) {
        log_failed_copy(source_path, QStringLiteral("There is no folder for working copies"), origin);
        return {};
    }
    const QString name = plugin_static_function::get_available_file(source_path, adhoc_parent_path, origin.signature());
    if (name.isEmpty())
        return {};
    QString copy = adhoc_parent_path + name;
    QStringList made;
    for (const QString &suffix : suffixes) {
        if ((suffix.isEmpty() || QFile::exists(source_path + suffix)) &&
            copy_file(source_path + suffix, copy + suffix, origin))
            made.append(copy + suffix);
    }
    if (!bool_cancel_extraction.is_set())
        return copy;
    for (const QString &path : std::as_const(made))
        QFile::remove(path);
    return {};
}

/// Copy one file to a place where there is none. An incomplete copy is removed: a truncated database looks damaged.
bool plugin_helper_functions::copy_file(const QString &source_path, const QString &copy_path,
                                        const log_origin &origin) const
{
    QFile source(source_path);
    QFile copy(copy_path);
    QString failure = source_root.open(source);
    if (failure.isEmpty() && !copy.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        failure = copy.errorString();
    if (failure.isEmpty())
        failure = why_not_copied(source, copy, bool_cancel_extraction);
    const bool is_whole = failure.isEmpty() && !bool_cancel_extraction.is_set();
    if (copy.isOpen() && !is_whole)
        copy.remove();
    if (!failure.isEmpty())
        log_failed_copy(source_path, failure, origin);
    return is_whole;
}

void plugin_helper_functions::log_failed_copy(const QString &source_path, const QString &failure,
                                              const log_origin &origin)
{
    log_line({"[copy of source file] ----FAILED---- :", origin}, source_path, u" error: ", failure);
}
