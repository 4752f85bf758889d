#include "host/sources/android_backup.h"

#include <openssl/evp.h>
#include <zlib.h>

#include <algorithm>

namespace {

constexpr char mark[] = "ANDROID BACKUP\n";
constexpr int newest_version = 5;
constexpr qint64 max_header_line = 4096; // bytes
constexpr int max_rounds = 10'000'000;   // Android uses 10,000; a hostile header would keep us busy for hours
constexpr qsizetype block_size = 256 * 1024;
constexpr int key_size = 32; // bytes

QByteArray derived_key(const QByteArray &secret, const QByteArray &salt, int rounds)
{
    QByteArray key(key_size, '\0');
    PKCS5_PBKDF2_HMAC(secret.constData(), static_cast<int>(secret.size()),
                      reinterpret_cast<const unsigned char *>(salt.constData()), static_cast<int>(salt.size()), rounds,
                      EVP_sha1(), key_size, reinterpret_cast<unsigned char *>(key.data()));
    return key;
}

/// Version 1 takes the low eight bits of each character, later ones UTF-8.
QByteArray secret_of(const QString &text, bool as_utf8)
{
    return as_utf8 ? text.toUtf8() : text.toLatin1();
}

/// A key as a secret again, the way Android makes its checksum: bytes become characters with their sign extended.
QByteArray secret_of(const QByteArray &key, bool as_utf8)
{
    if (!as_utf8)
        return key;
    QString text;
    for (const char byte : key)
        text += QChar(static_cast<char16_t>(static_cast<signed char>(byte)));
    return text.toUtf8();
}

/// A field of the master key's blob: one byte of size, and the bytes.
bool take_field(QByteArrayView &blob, QByteArray &field)
{
    if (blob.isEmpty() || blob.size() <= static_cast<unsigned char>(blob.front()))
        return false;
    const qsizetype size = static_cast<unsigned char>(blob.front());
    field = blob.sliced(1, size).toByteArray();
    blob = blob.sliced(1 + size);
    return true;
}

} // namespace

struct android_backup::cipher
{
    EVP_CIPHER_CTX *context = EVP_CIPHER_CTX_new();
    bool ended = false;

    cipher(const QByteArray &key, const QByteArray &iv)
    {
        EVP_DecryptInit_ex(context, EVP_aes_256_cbc(), nullptr,
                           reinterpret_cast<const unsigned char *>(key.constData()),
                           reinterpret_cast<const unsigned char *>(iv.constData()));
    }
    ~cipher() { EVP_CIPHER_CTX_free(context); }
    Q_DISABLE_COPY_MOVE(cipher)

    /// The deciphered bytes, appended to `plain`.
    bool add(QByteArrayView enciphered, QByteArray &plain)
    {
        const qsizetype before = plain.size();
        plain.resize(before + enciphered.size() + EVP_MAX_BLOCK_LENGTH);
        int size = 0;
        const int good = EVP_DecryptUpdate(context, reinterpret_cast<unsigned char *>(plain.data() + before), &size,
                                           reinterpret_cast<const unsigned char *>(enciphered.data()),
                                           static_cast<int>(enciphered.size()));
        plain.resize(before + size);
        return good == 1;
    }

    /// The last block; false when its padding is wrong, because bytes are missing or the key is wrong.
    bool end(QByteArray &plain)
    {
        ended = true;
        const qsizetype before = plain.size();
        plain.resize(before + EVP_MAX_BLOCK_LENGTH);
        int size = 0;
        const int good = EVP_DecryptFinal_ex(context, reinterpret_cast<unsigned char *>(plain.data() + before), &size);
        plain.resize(before + size);
        return good == 1;
    }
};

struct android_backup::inflater
{
    z_stream stream = {};
    QByteArray input = QByteArray(block_size, '\0');
    bool ended = false;

    inflater() { inflateInit(&stream); }
    ~inflater() { inflateEnd(&stream); }
    Q_DISABLE_COPY_MOVE(inflater)
};

android_backup::android_backup(QFile &from)
    : file(from)
{
}

android_backup::~android_backup() = default;

bool android_backup::begins(QByteArrayView first_bytes)
{
    return first_bytes.startsWith(mark);
}

bool android_backup::fail(const QString &text)
{
    why_failed = file.fileName() + QLatin1StringView(": ") + text;
    return false;
}

bool android_backup::open(const still_wanted &go_on)
{
    const auto line = [this] { return file.readLine(max_header_line).trimmed(); };
    const bool is_backup = line() == QByteArrayView(mark).chopped(1);
    const int version = line().toInt();
    const QByteArray compressed = line();
    const QByteArray encryption = line();
    if (!is_backup || version < 1 || version > newest_version || (compressed != "0" && compressed != "1"))
        return fail(QStringLiteral("is not an Android backup of versions 1 to %1").arg(newest_version));
    if (encryption != "none" && encryption != "AES-256")
        return fail(QStringLiteral("uses an unknown encryption (%1)").arg(QString::fromUtf8(encryption)));
    if (encryption == "AES-256" && !open_cipher(version, go_on))
        return false;
    if (compressed == "1")
        inflate = std::make_unique<inflater>();
    return true;
}

/// The password opens the blob, which contains the key of the payload and a checksum that confirms the password.
bool android_backup::open_cipher(int version, const still_wanted &go_on)
{
    const auto hexadecimal = [this] { return QByteArray::fromHex(file.readLine(max_header_line).trimmed()); };
    const QByteArray user_salt = hexadecimal();
    const QByteArray checksum_salt = hexadecimal();
    const int rounds = file.readLine(max_header_line).trimmed().toInt();
    const QByteArray user_iv = hexadecimal();
    const QByteArray blob = hexadecimal();
    if (user_salt.isEmpty() || rounds < 1 || rounds > max_rounds || user_iv.size() != EVP_MAX_IV_LENGTH ||
        blob.isEmpty())
        return fail(QStringLiteral("has a damaged encryption header"));
    const std::optional<QString> password = source_password(file.fileName(), go_on);
    if (!password)
        return fail(QStringLiteral("is encrypted; set GMAIL_HOST_PASSWORD or run on a terminal"));

    for (const bool as_utf8 : {version > 1, version == 1}) { // some phones wrote the other way
        QByteArray plain;
        cipher of_blob(derived_key(secret_of(*password, as_utf8), user_salt, rounds), user_iv);
        if (!of_blob.add(blob, plain) || !of_blob.end(plain))
            continue;
        QByteArrayView rest(plain);
        QByteArray iv, key, checksum;
        if (take_field(rest, iv) && take_field(rest, key) && take_field(rest, checksum) &&
            iv.size() == EVP_MAX_IV_LENGTH && key.size() == key_size &&
            checksum == derived_key(secret_of(key, as_utf8), checksum_salt, rounds)) {
            decipher = std::make_unique<cipher>(key, iv);
            return true;
        }
    }
    return fail(QStringLiteral("the password is wrong"));
}

/// The bytes after the header, deciphered.
qint64 android_backup::read_payload(std::span<char> buffer)
{
    if (!decipher) {
        const qint64 count = file.read(buffer.data(), static_cast<qint64>(buffer.size()));
        if (count < 0)
            fail(QStringLiteral("reading stopped (") + file.errorString() + u')');
        return count;
    }
    while (given == waiting.size() && !decipher->ended) {
        waiting.clear();
        given = 0;
        const QByteArray enciphered = file.read(block_size);
        const bool good = enciphered.isEmpty() ? decipher->end(waiting) : decipher->add(enciphered, waiting);
        if (!good) {
            fail(QStringLiteral("is truncated or damaged"));
            return -1;
        }
    }
    const auto count = std::min(static_cast<qsizetype>(buffer.size()), waiting.size() - given);
    std::copy_n(waiting.constData() + given, count, buffer.data());
    given += count;
    return count;
}

qint64 android_backup::read_inflated(std::span<char> buffer)
{
    z_stream &stream = inflate->stream;
    stream.next_out = reinterpret_cast<Bytef *>(buffer.data());
    stream.avail_out = static_cast<uInt>(buffer.size());
    while (stream.avail_out == buffer.size() && !inflate->ended) {
        if (stream.avail_in == 0) {
            const qint64 count = read_payload(inflate->input);
            if (count < 0)
                return -1;
            stream.next_in = reinterpret_cast<Bytef *>(inflate->input.data());
            stream.avail_in = static_cast<uInt>(count);
        }
        const int state = ::inflate(&stream, Z_NO_FLUSH);
        inflate->ended = state == Z_STREAM_END;
        if (state != Z_OK && state != Z_STREAM_END) { // also when the input ends early
            fail(QStringLiteral("is truncated or damaged"));
            return -1;
        }
    }
    return static_cast<qint64>(buffer.size() - stream.avail_out);
}

qint64 android_backup::read(std::span<char> buffer)
{
    if (!why_failed.isEmpty())
        return -1;
    return inflate ? read_inflated(buffer) : read_payload(buffer);
}
