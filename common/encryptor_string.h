/// A small keyed cipher that turns a text into printable text and back. It enciphers debug-log lines and deciphers them
/// for a reader. It hides a log from a casual look but is not cryptography.
///
/// Enciphered bytes, before they become Base64:
///
///     offset 0   version, always 3
///     offset 1   flags: 0x01 compressed, 0x02 checksum present, 0x04 hash present
///     offset 2   the body, chain-XORed: one random byte, the integrity field (2 bytes of checksum, big-endian, or
///                20 bytes of SHA-1, or none), the payload (qCompress format when compressed)
#pragma once

#include <QByteArray>
#include <QString>

class encryptor_string
{
public:
    enum compression : qint32 { compression_auto = 0, compression_always = 1, compression_never = 2 };
    enum protection : qint32 { protection_none = 0, protection_checksum = 1, protection_hash = 2 };
    enum error : qint32 { no_error = 0, no_key_set = 1, unknown_version = 2, integrity_failed = 3 };

    /// Sets the library's key, automatic compression and the checksum, and seeds the C library's random generator from
    /// the clock.
    encryptor_string();

    /// Rebuild `key_parts` after `key_value` was changed.
    void splitKey();

    /// A text is enciphered as its UTF-8 bytes. Empty, with `last_error` set, when there is no key.
    QByteArray encryptToByteArray(QByteArray plain);
    QByteArray encryptToByteArray(const QString &plain);
    QString encryptToString(QByteArray plain);
    QString encryptToString(const QString &plain);

    /// The array is the enciphered bytes, the text their Base64. Empty, with `last_error` set, when there is no key,
    /// the version is unknown or the content does not match its integrity field; also for fewer than 3 bytes.
    QByteArray decryptToByteArray(QByteArray enciphered);
    QByteArray decryptToByteArray(const QString &enciphered);
    QString decryptToString(QByteArray enciphered);
    QString decryptToString(const QString &enciphered);

    quint64 key_value;
    QByteArray key_parts; ///< the key's 8 bytes, least significant first; none means no key
    compression compression_mode = compression_auto;
    protection protection_mode = protection_checksum;
    error last_error = no_error;

private:
    bool refuse_without_key();
};
