#include "tests/support/archives.h"

#include <archive.h>
#include <openssl/evp.h>

namespace {

QByteArray derived(const QByteArray &secret, const QByteArray &salt)
{
    QByteArray key(32, '\0');
    PKCS5_PBKDF2_HMAC_SHA1(secret.constData(), int(secret.size()), reinterpret_cast<const uchar *>(salt.constData()),
                           int(salt.size()), 1000, 32, reinterpret_cast<uchar *>(key.data()));
    return key;
}

QByteArray enciphered(const QByteArray &plain, const QByteArray &key, const QByteArray &iv)
{
    QByteArray result(plain.size() + 16, '\0');
    EVP_CIPHER_CTX *context = EVP_CIPHER_CTX_new();
    int size = 0, rest = 0;
    EVP_EncryptInit_ex(context, EVP_aes_256_cbc(), nullptr, reinterpret_cast<const uchar *>(key.constData()),
                       reinterpret_cast<const uchar *>(iv.constData()));
    EVP_EncryptUpdate(context, reinterpret_cast<uchar *>(result.data()), &size,
                      reinterpret_cast<const uchar *>(plain.constData()), int(plain.size()));
    EVP_EncryptFinal_ex(context, reinterpret_cast<uchar *>(result.data()) + size, &rest);
    EVP_CIPHER_CTX_free(context);
    return result.first(size + rest);
}

} // namespace

QByteArray archive_of(const QList<packed> &members, int format, int filter, const char *password)
{
    qsizetype size = 1024 * 1024;
    for (const packed &each : members)
        size += 2 * each.bytes.size();
    QByteArray result(size, '\0');
    archive *out = archive_write_new();
    archive_write_set_format(out, format);
    archive_write_add_filter(out, filter);
    archive_write_set_bytes_in_last_block(out, 1);
    if (password) {
        archive_write_set_options(out, "zip:encryption=aes256");
        archive_write_set_passphrase(out, password);
    }
    std::size_t used = 0;
    archive_write_open_memory(out, result.data(), static_cast<std::size_t>(size), &used);
    for (const packed &each : members) {
        archive_entry *entry = archive_entry_new();
        archive_entry_set_pathname(entry, each.path.constData());
        archive_entry_set_filetype(entry, each.type);
        archive_entry_set_perm(entry, 0644);
        archive_entry_set_mtime(entry, 1704700000, 0);
        archive_entry_set_size(entry, each.bytes.size());
        if (each.link)
            archive_entry_set_symlink(entry, each.link);
        archive_write_header(out, entry);
        archive_write_data(out, each.bytes.constData(), static_cast<std::size_t>(each.bytes.size()));
        archive_entry_free(entry);
    }
    archive_write_close(out);
    archive_write_free(out);
    return result.first(static_cast<qsizetype>(used));
}

QByteArray android_backup_of(const QByteArray &tar, int version, bool compressed, const QString &password)
{
    QByteArray payload = compressed ? qCompress(tar).sliced(4) : tar; // Qt puts the size before it
    QByteArray head = "ANDROID BACKUP\n" + QByteArray::number(version) + (compressed ? "\n1\n" : "\n0\n");
    if (password.isNull())
        return head + "none\n" + payload;
    const QByteArray salt(64, 's'), checksum_salt(64, 'c'), iv(16, 'i'), user_iv(16, 'u');
    QByteArray key; // bytes above 0x7F, which the checksum sees as characters
    for (int i = 0; i < 32; ++i)
        key.append(static_cast<char>(i * 8));
    QString key_as_text;
    for (const char byte : key)
        key_as_text += QChar(static_cast<char16_t>(static_cast<signed char>(byte)));
    const QByteArray checksum = derived(version == 1 ? key : key_as_text.toUtf8(), checksum_salt);
    const QByteArray blob = "\x10" + iv + "\x20" + key + "\x20" + checksum;
    const QByteArray user_key = derived(version == 1 ? password.toLatin1() : password.toUtf8(), salt);
    head += "AES-256\n" + salt.toHex() + '\n' + checksum_salt.toHex() + "\n1000\n" + user_iv.toHex() + '\n' +
            enciphered(blob, user_key, user_iv).toHex() + '\n';
    return head + enciphered(payload, key, iv);
}
