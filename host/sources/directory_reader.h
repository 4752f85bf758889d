/// Reads a directory file by file.
#pragma once

#include "host/pass/hashed_file.h"
#include "host/sources/member.h"

#include <vector>

/// Members that are files of the file system.
class file_member_reader : public member_reader
{
public:
    [[nodiscard]] qint64 read(std::span<char> buffer) final;

protected:
    hashed_file file; ///< the current member; opened when it is read
};

/// Goes through the folders in the order of their names, so that the same evidence always gives the same numbers. Links
/// are reported, never followed. So are folders that cannot be read, and names that are not valid text, which Qt passes
/// over silently.
class directory_reader : public file_member_reader
{
public:
    /// Given a folder below the directory ("" or ending in "/"): true when its contents need not be listed.
    using folder_filter = bool (*)(const QString &folder);

    explicit directory_reader(const QString &directory, folder_filter leave_out = nullptr);

    [[nodiscard]] bool next(member &found) override;
    [[nodiscard]] QString format() const override { return format_name; }

    static constexpr QLatin1StringView format_name{"directory"};

private:
    struct folder
    {
        QString path; ///< below the root; "" or ending in "/"
        std::vector<QByteArray> names = {};
        std::size_t at = 0;
    };

    [[nodiscard]] QString enter(const QString &path);

    QString root; ///< ends in "/"
    folder_filter left_out;
    std::vector<folder> open_folders; ///< from the root down to the current one
    QString why_root_failed;
};

/// A single mbox file, as a source of one member.
class mbox_reader : public file_member_reader
{
public:
    mbox_reader(const QString &path, bool hash);

    [[nodiscard]] bool next(member &found) override;
    [[nodiscard]] QString format() const override { return QStringLiteral("mbox file"); }
    [[nodiscard]] QString sha256(const on_block &go_on) override { return file.sha256(go_on); }

private:
    bool was_given = false;
};
