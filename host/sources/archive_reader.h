/// Archives: zip, tar (plain or compressed), 7z, and Android backups. Their kind is recognised by their content.
#pragma once

#include "host/pass/hashed_file.h"
#include "host/sources/member.h"
#include "host/sources/password.h"

#include <QByteArray>

#include <memory>

class android_backup;
struct archive;

class archive_reader : public member_reader
{
public:
    /// `go_on` can end the wait for a password. With `hash`, the file is hashed while it is read.
    archive_reader(const QString &path, still_wanted go_on, bool hash);
    ~archive_reader() override;

    /// False, with `failure` set, when the file is not an archive, or one that cannot be opened.
    [[nodiscard]] bool open();

    [[nodiscard]] bool next(member &found) override;
    [[nodiscard]] qint64 read(std::span<char> buffer) override;
    /// "zip", "tar", "7z" or "Android backup".
    [[nodiscard]] QString format() const override;
    [[nodiscard]] QString sha256(const on_block &go_on) override { return file.sha256(go_on); }
    [[nodiscard]] QString doubt() const override;

private:
    bool fail_as_archive();
    bool backup_ends_well();
    bool open_backup();
    bool open_archive();

    QString path;
    still_wanted is_wanted;
    hashed_file file;
    archive *handle = nullptr;
    std::unique_ptr<android_backup> backup;
    QByteArray block;      ///< bytes of the file or the backup for the archive reader
    QByteArray last_bytes; ///< of the tar stream of a backup
    QByteArray password;   ///< null until it is needed
    bool at_encrypted = false;
};

/// True when the file begins like an archive or a backup. If it does but cannot be read, it is damaged.
[[nodiscard]] bool begins_like_archive(const QString &path);

/// True for a zip file that ends before its first member.
[[nodiscard]] bool is_empty_zip(const QString &path);
