/// Files and paths: copying and removing directories, free names, paths and users of a source.
#include "common/free_file_names.h"
#include "common/log_line.h"
#include "common/plugin_static_function.h"

#include <QDir>
#include <QDirIterator>

#include <filesystem>
#include <vector>

using system_account_record = struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_system_account;

namespace {

constexpr qint64 copy_block_size = 102400; // bytes

bool is_home_directory(const QString &path_kind)
{
    return path_kind == QLatin1StringView("macOS_Home_Directory");
}

QString with_leading_slash(const QString &path)
{
    return path.startsWith(u'/') || path.trimmed().isEmpty() ? path : u'/' + path;
}

QString file_name_part(const QString &path)
{
    return path.mid(path.lastIndexOf(u'/') + 1);
}

void copy_file(const QString &source_path, const QString &destination_path, const log_origin &origin)
{
    QFile source(source_path);
    if (!source.exists())
        return;
    if (!source.open(QIODevice::ReadOnly)) {
        log_line({"[copy_directory] source file open ----FAILED---- :", origin}, source.fileName());
        return;
    }
    QFile destination(destination_path);
    if (!destination.open(QIODevice::WriteOnly)) {
        log_line({"[copy_directory] destination file open ----FAILED---- :", origin}, destination.fileName());
        log_line({"[copy_directory] Error:", origin}, destination.errorString());
        return;
    }
    while (!plugin_static_function::bool_cancel_extraction.is_set()) {
        const QByteArray block = source.read(copy_block_size);
        if (block.isEmpty() || destination.write(block) != block.size())
            break;
    }
    destination.flush();
    for (const QFile *file : {&source, &destination}) {
        if (file->error() == QFile::NoError)
            continue;
        log_line({"[copy_directory] file copy ----FAILED---- :", origin}, source.fileName());
        log_line({"[copy_directory] Error:", origin}, file->errorString());
        break;
    }
}

/// Qt's own removal changes the mode of files that it cannot remove, even through links. This leaves them unchanged.
void remove_tree(const std::filesystem::path &path)
{
    std::error_code ignored;
    std::vector<std::filesystem::path> entries;
    if (std::filesystem::is_directory(std::filesystem::symlink_status(path, ignored))) {
        for (std::filesystem::directory_iterator entry(path, ignored), end; entry != end; entry.increment(ignored))
            entries.push_back(entry->path());
    }
    for (const std::filesystem::path &entry : entries)
        remove_tree(entry);
    std::filesystem::remove(path, ignored);
}

} // namespace

void plugin_static_function::copy_directory(QString source_dir, QString destination_dir)
{
    const log_origin origin;
    const QDir source(source_dir);
    if (!source.exists()) {
        log_line("[copy_directory] source diectory does not exist ----FAILED---- :", source_dir);
        return;
    }
    QDir().mkpath(destination_dir);
    const QStringList files = source.entryList(QDir::Files | QDir::Hidden, QDir::NoSort);
    for (const QString &name : files) {
        if (bool_cancel_extraction.is_set())
            return;
        copy_file(source_dir + u'/' + name, destination_dir + u'/' + name, origin);
    }
    const QStringList directories = source.entryList(QDir::AllDirs | QDir::Hidden | QDir::NoDotAndDotDot, QDir::NoSort);
    for (const QString &name : directories) {
        if (bool_cancel_extraction.is_set())
            return;
        const QString directory = source_dir + u'/' + name;
        if (QFileInfo(directory).isSymLink())
            log_line("[copy_directory] link to a directory is not copied ----FAILED---- :", directory);
        else
            copy_directory(directory, destination_dir + u'/' + name);
    }
}

void plugin_static_function::remove_directory(QString dir)
{
    while (dir.endsWith(u'/'))
        dir.chop(1); // "link/" names the link's target
    if (!dir.isEmpty())
        remove_tree(QFile::encodeName(dir).toStdString());
}

QStringList plugin_static_function::get_unmatched_varible_list_of_parentlist(QStringList parent_list,
                                                                             QStringList other_list)
{
    const QSet<QString> others(other_list.cbegin(), other_list.cend());
    QStringList unmatched;
    for (const QString &entry : std::as_const(parent_list)) {
        if (bool_cancel_extraction.is_set())
            break;
        if (!others.contains(entry))
            unmatched.append(entry);
    }
    return unmatched;
}

QString plugin_static_function::get_available_file(QString source_file, QString destination_dir, QString)
{
    QDir().mkpath(destination_dir);
    free_file_names names(destination_dir + u'/', bool_cancel_extraction);
    return names.next(file_name_part(source_file), bool_cancel_extraction);
}

bool plugin_static_function::is_file_exist_in_dir(QString dir, QString file_name, QString)
{
    const QString sought = file_name.trimmed();
    QDirIterator entries(dir, QDir::AllEntries | QDir::Hidden | QDir::System);
    while (!bool_cancel_extraction.is_set() && entries.hasNext()) {
        entries.next();
        if (entries.fileName().trimmed() == sought)
            return true;
    }
    return false;
}

QString plugin_static_function::get_complete_file_path(QString path, QString user_name, QString path_kind)
{
    constexpr QLatin1StringView users("/Users/");
    if (is_home_directory(path_kind) && path.startsWith(users)) {
        const qsizetype end_of_user = path.indexOf(u'/', users.size());
        path = users + user_name + (end_of_user < 0 ? QString() : path.mid(end_of_user));
    }
    return with_leading_slash(path);
}

QString plugin_static_function::get_relative_file_path(QString path, QString root, QString path_kind)
{
    if (is_home_directory(path_kind)) {
        const qsizetype root_at = path.indexOf(root);
        if (root_at >= 0)
            path.remove(0, root_at + root.size());
    }
    return with_leading_slash(path);
}

QPair<QString, QString> plugin_static_function::get_final_artifact_source_file(QString path, QString root,
                                                                               QString path_kind)
{
    return {get_relative_file_path(path, root, path_kind), is_home_directory(path_kind) ? path : QString()};
}

system_account_record plugin_static_function::extract_user_name_from_sourcefile(QString path, QString prefix)
{
    if (system_account_QList.isEmpty())
        return {};
    const QStringList parts = path.mid(prefix.size()).split(u'/');
    if (parts.size() < 2)
        return {};
    const QString &user = parts.at(1);
    for (const system_account_record &account : std::as_const(system_account_QList)) {
        if (account.system_user == user)
            return account;
    }
    return {.system_user = user, .domain_user = QString()};
}

QString plugin_static_function::get_source_count_name()
{
    return QLatin1StringView("Source") + QString::number(source_count_int);
}

QString plugin_static_function::get_source_os_scan_version(QString os_scheme)
{
    const QString &version = source_os_version_full;
    const bool cut_at_point = os_scheme == QLatin1StringView("macOS")
                                  ? !version.startsWith(QLatin1StringView("10"))
                                  : os_scheme == QLatin1StringView("iOS") || os_scheme == QLatin1StringView("winOS");
    return cut_at_point ? version.section(u'.', 0, 0) : version;
}
