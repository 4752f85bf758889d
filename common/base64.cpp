#include "common/base64.h"

#include <array>

namespace {

constexpr quint32 not_in_alphabet = 0x80000000;

/// The 6 bits of each byte of the alphabet, shifted left; `not_in_alphabet` for the others.
consteval std::array<quint32, 256> values_shifted_by(int shift)
{
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<quint32, 256> values = {};
    values.fill(not_in_alphabet);
    for (quint32 value = 0; value < 64; ++value)
        values[static_cast<uchar>(alphabet[value])] = value << shift;
    return values;
}

constexpr auto first_of_four = values_shifted_by(18);
constexpr auto second_of_four = values_shifted_by(12);
constexpr auto third_of_four = values_shifted_by(6);
constexpr auto fourth_of_four = values_shifted_by(0);

} // namespace

qsizetype base64_decoder::decode(QByteArrayView encoded, char *decoded)
{
    const auto *in = reinterpret_cast<const uchar *>(encoded.data());
    const auto *const end = in + encoded.size();
    char *out = decoded;
    while (in != end) {
        if (pending_bits == 0) {
            // Four bytes of the alphabet are three bytes of data: nearly all input takes this path.
            while (end - in >= 4) {
                const quint32 three_bytes =
                    first_of_four[in[0]] | second_of_four[in[1]] | third_of_four[in[2]] | fourth_of_four[in[3]];
                if (three_bytes & not_in_alphabet)
                    break;
                out[0] = static_cast<char>(three_bytes >> 16);
                out[1] = static_cast<char>(three_bytes >> 8);
                out[2] = static_cast<char>(three_bytes);
                out += 3;
                in += 4;
            }
            if (in == end)
                break;
        }
        const quint32 value = fourth_of_four[*in++];
        if (value == not_in_alphabet)
            continue;
        pending = (pending << 6) | value;
        pending_bits += 6;
        if (pending_bits >= 8) {
            pending_bits -= 8;
            *out++ = static_cast<char>(pending >> pending_bits);
            pending &= (1u << pending_bits) - 1;
        }
    }
    return out - decoded;
}

QByteArray decoded_base64(QByteArrayView encoded)
{
    QByteArray decoded(base64_decoder::room_for(encoded.size()), Qt::Uninitialized);
    decoded.truncate(base64_decoder().decode(encoded, decoded.data()));
    return decoded;
}
