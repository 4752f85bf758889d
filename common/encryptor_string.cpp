/// The log cipher: compress if it helps, add an integrity field, chain-XOR with the key.
#include "common/encryptor_string.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QtEndian>

#include <cstdlib>

namespace {

constexpr quint64 library_key = 0x6d31b7f2a95ce048;
constexpr char version = 3;
constexpr int size_of_length_field = 4; // in front of qCompress data
constexpr qint64 highest_ratio = 1040;  // deflate cannot expand further (1032) than this

enum flag : char { flag_compressed = 0x01, flag_checksum = 0x02, flag_hash = 0x04 };

QByteArray checksum_of(const QByteArray &payload)
{
    QByteArray field(sizeof(quint16), Qt::Uninitialized);
    qToBigEndian(qChecksum(payload), field.data());
    return field;
}

QByteArray hash_of(const QByteArray &payload)
{
    return QCryptographicHash::hash(payload, QCryptographicHash::Sha1);
}

/// Uncompress, unless the announced size is one that no compressed data of this length can have: a forged size would
/// otherwise allocate up to 4 GiB.
QByteArray uncompressed(const QByteArray &payload)
{
    if (payload.size() < size_of_length_field)
        return {};
    const qint64 announced = qFromBigEndian<quint32>(payload.constData());
    return announced <= payload.size() * highest_ratio ? qUncompress(payload) : QByteArray();
}

} // namespace

encryptor_string::encryptor_string()
    : key_value(library_key)
{
    std::srand(static_cast<unsigned>(QDateTime::currentMSecsSinceEpoch() & 0xFFFF));
    splitKey();
}

void encryptor_string::splitKey()
{
    key_parts.resize(sizeof(key_value));
    qToLittleEndian(key_value, key_parts.data());
}

bool encryptor_string::refuse_without_key()
{
    if (!key_parts.isEmpty())
        return false;
    qWarning("No key set.");
    last_error = no_key_set;
    return true;
}

QByteArray encryptor_string::encryptToByteArray(QByteArray plain)
{
    if (refuse_without_key())
        return {};

    char flags = 0;
    if (compression_mode != compression_never) {
        const QByteArray compressed = qCompress(plain, 9);
        if (compression_mode == compression_always || compressed.size() < plain.size()) {
            plain = compressed;
            flags |= flag_compressed;
        }
    }
    QByteArray integrity;
    if (protection_mode == protection_checksum) {
        integrity = checksum_of(plain);
        flags |= flag_checksum;
    } else if (protection_mode == protection_hash) {
        integrity = hash_of(plain);
        flags |= flag_hash;
    }

    QByteArray body = static_cast<char>(std::rand() & 0xFF) + integrity + plain;
    char last = 0;
    for (qsizetype i = 0; i < body.size(); ++i)
        last = body[i] = static_cast<char>(body[i] ^ last ^ key_parts[i % key_parts.size()]);
    last_error = no_error;
    return version + QByteArray(1, flags) + body;
}

QByteArray encryptor_string::encryptToByteArray(const QString &plain)
{
    return encryptToByteArray(plain.toUtf8());
}

QString encryptor_string::encryptToString(QByteArray plain)
{
    return QString::fromLatin1(encryptToByteArray(std::move(plain)).toBase64());
}

QString encryptor_string::encryptToString(const QString &plain)
{
    return encryptToString(plain.toUtf8());
}

QByteArray encryptor_string::decryptToByteArray(QByteArray enciphered)
{
    if (refuse_without_key() || enciphered.size() < 3)
        return {};
    if (enciphered[0] != version) {
        qWarning("Invalid version or not a cyphertext.");
        last_error = unknown_version;
        return {};
    }

    const char flags = enciphered[1];
    QByteArray body = enciphered.mid(2);
    char last = 0;
    for (qsizetype i = 0; i < body.size(); ++i) {
        const char before = body[i];
        body[i] = static_cast<char>(before ^ last ^ key_parts[i % key_parts.size()]);
        last = before;
    }
    body.remove(0, 1); // the random byte

    using integrity_function = QByteArray (*)(const QByteArray &);
    const integrity_function integrity_of = flags & flag_checksum ? checksum_of : flags & flag_hash ? hash_of : nullptr;
    if (integrity_of) {
        const qsizetype size = flags & flag_checksum ? 2 : 20;
        const QByteArray claimed = body.left(size);
        body.remove(0, size);
        if (claimed.size() < size || claimed != integrity_of(body)) {
            last_error = integrity_failed;
            return {};
        }
    }
    last_error = no_error;
    return flags & flag_compressed ? uncompressed(body) : body;
}

QByteArray encryptor_string::decryptToByteArray(const QString &enciphered)
{
    return decryptToByteArray(QByteArray::fromBase64(enciphered.toLatin1()));
}

QString encryptor_string::decryptToString(QByteArray enciphered)
{
    return QString::fromUtf8(decryptToByteArray(std::move(enciphered)));
}

QString encryptor_string::decryptToString(const QString &enciphered)
{
    return QString::fromUtf8(decryptToByteArray(enciphered));
}
