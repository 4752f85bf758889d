/// The stream inside an Android backup (`adb backup`, ".ab").
///
/// The format is that of Android's own backup code: lines of text (the mark "ANDROID BACKUP", the version 1 to 5, 1
/// when compressed, "none" or "AES-256"; when enciphered also the user's salt, the salt of the checksum, the rounds,
/// the user's IV and the master key's blob, numbers in hexadecimal but for the rounds), then a tar archive, deflated
/// with a zlib header when compressed, enciphered with AES-256-CBC when enciphered.
#pragma once

#include "host/sources/password.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <memory>
#include <span>

class android_backup
{
public:
    /// `from` is the backup's file, open, at its beginning and unbuffered.
    explicit android_backup(QFile &from);
    ~android_backup();
    Q_DISABLE_COPY_MOVE(android_backup)

    /// True when a file that begins with these bytes is a backup.
    [[nodiscard]] static bool begins(QByteArrayView first_bytes);

    /// False, with `error` set, when the file cannot be read, its header is not understood, it is enciphered and there
    /// is no password, or the password is wrong. `go_on` can end the wait for a password.
    [[nodiscard]] bool open(const still_wanted &go_on);

    /// Bytes of the tar archive: how many were read, 0 at its end, -1 (with `error` set) when it is truncated or
    /// damaged.
    [[nodiscard]] qint64 read(std::span<char> buffer);

    [[nodiscard]] const QString &error() const { return why_failed; }

private:
    struct cipher;
    struct inflater;

    bool fail(const QString &text);
    bool open_cipher(int version, const still_wanted &go_on);
    qint64 read_payload(std::span<char> buffer);
    qint64 read_inflated(std::span<char> buffer);

    QFile &file;
    QString why_failed;
    std::unique_ptr<cipher> decipher;
    std::unique_ptr<inflater> inflate;
    QByteArray waiting;  // deciphered bytes ...
    qsizetype given = 0; // ... of which those before this one were returned
};
