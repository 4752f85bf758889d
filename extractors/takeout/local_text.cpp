#include "extractors/takeout/local_text.h"

#include <cstring>

namespace local_text {

namespace {

/// Length of the valid UTF-8 sequence that `bytes`, which begins with a non-ASCII byte, begins with; 0 when there is
/// none. Ranges as in table 3-7 of the Unicode standard: no overlong forms, no surrogates, nothing above U+10FFFF.
qsizetype sequence_length(QByteArrayView bytes)
{
    const auto byte = [bytes](qsizetype i) { return i < bytes.size() ? static_cast<uchar>(bytes[i]) : uchar(0); };
    const auto trails = [byte](qsizetype i, uchar lowest = 0x80, uchar highest = 0xBF) {
        return byte(i) >= lowest && byte(i) <= highest;
    };
    const uchar lead = byte(0);
    if (lead >= 0xC2 && lead <= 0xDF)
        return trails(1) ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF)
        return trails(1, lead == 0xE0 ? 0xA0 : 0x80, lead == 0xED ? 0x9F : 0xBF) && trails(2) ? 3 : 0;
    if (lead >= 0xF0 && lead <= 0xF4)
        return trails(1, lead == 0xF0 ? 0x90 : 0x80, lead == 0xF4 ? 0x8F : 0xBF) && trails(2) && trails(3) ? 4 : 0;
    return 0;
}

} // namespace

qsizetype ascii_prefix(QByteArrayView bytes)
{
    constexpr quint64 high_bits = 0x8080808080808080;
    const char *const begin = bytes.data();
    qsizetype i = 0;
    for (; i + 64 <= bytes.size(); i += 64) {
        quint64 words[8];
        std::memcpy(words, begin + i, sizeof words);
        if ((words[0] | words[1] | words[2] | words[3] | words[4] | words[5] | words[6] | words[7]) & high_bits)
            break;
    }
    while (i < bytes.size() && static_cast<uchar>(begin[i]) < 0x80)
        ++i;
    return i;
}

bool survives(QByteArrayView line)
{
    if (line.startsWith("\xEF\xBB\xBF"))
        return false;
    while (true) {
        line = line.sliced(ascii_prefix(line));
        if (line.isEmpty())
            return true;
        const qsizetype length = sequence_length(line);
        if (length == 0)
            return false;
        line = line.sliced(length);
    }
}

QByteArray converted(QByteArrayView line)
{
    return QString::fromLocal8Bit(line).toLocal8Bit();
}

} // namespace local_text
