/// The log cipher: compress if it helps, add an integrity field, chain-XOR with the key.
#include "common/encryptor_string.h"

#include "common/base64.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QtEndian>

#include <array>
#include <cstdlib>
#include <optional>
#include <utility>

namespace {

constexpr quint64 library_key = 0x6d31b7f2a95ce048;
constexpr char version = 3;
constexpr int size_of_length_field = 4;    // bytes, before qCompress data
constexpr qint64 max_ratio = 1040;         // deflate expands at most 1032 times
constexpr qsizetype max_remembered = 1024; // bytes

enum flag : char { flag_compressed = 0x01, flag_checksum = 0x02, flag_hash = 0x04 };

// ---- Packing: payload and integrity field -------------------------------------------------------------------------

/// The part that is enciphered after the random byte.
struct packed_text
{
    char flags = 0;
    QByteArray body; ///< integrity field and payload
};

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

packed_text pack(const QByteArray &plain, encryptor_string::compression compression,
                 encryptor_string::protection protection)
{
    packed_text packed;
    packed.body = plain;
    if (compression != encryptor_string::compression_never) {
        const QByteArray compressed = qCompress(plain, 9);
        if (compression == encryptor_string::compression_always || compressed.size() < plain.size()) {
            packed.body = compressed;
            packed.flags |= flag_compressed;
        }
    }
    if (protection == encryptor_string::protection_checksum) {
        packed.body.prepend(checksum_of(packed.body));
        packed.flags |= flag_checksum;
    } else if (protection == encryptor_string::protection_hash) {
        packed.body.prepend(hash_of(packed.body));
        packed.flags |= flag_hash;
    }
    return packed;
}

/// Uncompress, unless compressed data of this length cannot have the announced size: a forged size would otherwise
/// allocate up to 4 GiB.
QByteArray uncompressed(const QByteArray &payload)
{
    if (payload.size() < size_of_length_field)
        return {};
    const qint64 announced = qFromBigEndian<quint32>(payload.constData());
    return announced <= payload.size() * max_ratio ? qUncompress(payload) : QByteArray();
}

/// The plain bytes; nullopt when they do not match their integrity field.
std::optional<QByteArray> unpack(const packed_text &packed)
{
    using integrity_function = QByteArray (*)(const QByteArray &);
    const bool has_checksum = packed.flags & flag_checksum;
    const integrity_function integrity_of = has_checksum ? checksum_of : packed.flags & flag_hash ? hash_of : nullptr;
    QByteArray payload = packed.body;
    if (integrity_of) {
        const qsizetype size = has_checksum ? 2 : 20;
        payload = packed.body.mid(size);
        if (packed.body.size() < size || packed.body.left(size) != integrity_of(payload))
            return {};
    }
    return packed.flags & flag_compressed ? uncompressed(payload) : payload;
}

/// The most recent results for some keys. A log repeats its lines, and packing or unpacking one takes many times as
/// long as the cipher, with the same result each time.
template <class Key, class Value>
class recent_results
{
public:
    template <class Make>
    const Value &value_of(const Key &key, Make make)
    {
        auto &slot = slots[qHash(key) % slots.size()];
        if (!slot || slot->first != key)
            slot.emplace(key, make());
        return slot->second;
    }

private:
    std::array<std::optional<std::pair<Key, Value>>, 1024> slots;
};

// ---- Chain --------------------------------------------------------------------------------------------------------
//
// Each byte is XORed with its part of the key and with the enciphered byte before it; 8 bytes at a time, as the key has
// 8 parts.

void lay_chain(QByteArray &body, const QByteArray &key_parts)
{
    const auto key = qFromLittleEndian<quint64>(key_parts.constData());
    char *at = body.data();
    quint64 last = 0;
    qsizetype left = body.size();
    for (; left >= 8; left -= 8, at += 8) {
        quint64 word = qFromLittleEndian<quint64>(at) ^ key;
        word ^= word << 8; // XOR each byte with all those before it
        word ^= word << 16;
        word ^= word << 32;
        word ^= last * 0x0101010101010101;
        qToLittleEndian(word, at);
        last = word >> 56;
    }
    for (int i = 0; i < left; ++i) {
        last = (static_cast<uchar>(at[i]) ^ last ^ (key >> (8 * i))) & 0xFF;
        at[i] = static_cast<char>(last);
    }
}

void undo_chain(QByteArray &body, const QByteArray &key_parts)
{
    const auto key = qFromLittleEndian<quint64>(key_parts.constData());
    char *at = body.data();
    quint64 before = 0;
    qsizetype left = body.size();
    for (; left >= 8; left -= 8, at += 8) {
        const auto word = qFromLittleEndian<quint64>(at);
        qToLittleEndian(word ^ (word << 8 | before) ^ key, at);
        before = word >> 56;
    }
    for (int i = 0; i < left; ++i) {
        const quint64 enciphered = static_cast<uchar>(at[i]);
        at[i] = static_cast<char>(enciphered ^ before ^ (key >> (8 * i)));
        before = enciphered;
    }
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
    if (key_parts.size() == sizeof(key_value))
        return false;
    qWarning("No key set.");
    last_error = no_key_set;
    return true;
}

QByteArray encryptor_string::encryptToByteArray(QByteArray plain)
{
    if (refuse_without_key())
        return {};
    using key = std::pair<QByteArray, std::pair<int, int>>;
    static thread_local recent_results<key, packed_text> recent;
    const auto make = [&] { return pack(plain, compression_mode, protection_mode); };
    const packed_text packed =
        plain.size() > max_remembered ? make() : recent.value_of({plain, {compression_mode, protection_mode}}, make);
    QByteArray body = static_cast<char>(std::rand() & 0xFF) + packed.body;
    lay_chain(body, key_parts);
    last_error = no_error;
    return version + QByteArray(1, packed.flags) + body;
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
    packed_text packed;
    packed.flags = enciphered[1];
    packed.body = enciphered.mid(2);
    undo_chain(packed.body, key_parts);
    packed.body.remove(0, 1); // the random byte

    using key = std::pair<QByteArray, char>;
    static thread_local recent_results<key, std::optional<QByteArray>> recent;
    const auto make = [&packed] { return unpack(packed); };
    const std::optional<QByteArray> plain =
        packed.body.size() > max_remembered ? make() : recent.value_of({packed.body, packed.flags}, make);
    last_error = plain ? no_error : integrity_failed;
    return plain.value_or(QByteArray());
}

QByteArray encryptor_string::decryptToByteArray(const QString &enciphered)
{
    return decryptToByteArray(decoded_base64(enciphered.toLatin1()));
}

QString encryptor_string::decryptToString(QByteArray enciphered)
{
    return QString::fromUtf8(decryptToByteArray(std::move(enciphered)));
}

QString encryptor_string::decryptToString(const QString &enciphered)
{
    return QString::fromUtf8(decryptToByteArray(enciphered));
}
