#include "extractors/takeout/local_text.h"

#include <cstring>

namespace local_text {

namespace {

constexpr QByteArrayView byte_order_mark("\xEF\xBB\xBF");

/// Position of the first byte that is not ASCII, or the size. Long stretches are tested 64 bytes at a time.
qsizetype skip_ascii(QByteArrayView bytes, qsizetype position)
{
    constexpr quint64 high_bits = 0x8080808080808080;
    const auto word_at = [bytes](qsizetype at) {
        quint64 word;
        std::memcpy(&word, bytes.data() + at, sizeof word);
        return word;
    };
    for (; position + 64 <= bytes.size(); position += 64) {
        quint64 all = 0;
        for (qsizetype i = 0; i < 64; i += 8)
            all |= word_at(position + i);
        if (all & high_bits)
            break;
    }
    for (; position + 8 <= bytes.size(); position += 8) {
        if (word_at(position) & high_bits)
            break;
    }
    while (position < bytes.size() && static_cast<uchar>(bytes[position]) < 0x80)
        ++position;
    return position;
}

/// Length of the valid UTF-8 sequence at `position`, where the byte is not ASCII; 0 when there is none. Ranges as in
/// table 3-7 of the Unicode standard: no overlong forms, no surrogates, nothing above U+10FFFF.
qsizetype sequence_length(QByteArrayView bytes, qsizetype position)
{
    const auto byte = [bytes, position](qsizetype i) {
        return position + i < bytes.size() ? static_cast<uchar>(bytes[position + i]) : uchar(0);
    };
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

qsizetype surviving_lines(QByteArrayView lines)
{
    qsizetype position = 0;
    while ((position = skip_ascii(lines, position)) < lines.size()) {
        const qsizetype length = sequence_length(lines, position);
        const bool begins_line = position == 0 || lines[position - 1] == '\n';
        if (length == 0 || (begins_line && lines.sliced(position).startsWith(byte_order_mark)))
            return lines.first(position).lastIndexOf('\n') + 1;
        position += length;
    }
    return position;
}

QByteArray converted(QByteArrayView line)
{
    return QString::fromLocal8Bit(line).toLocal8Bit();
}

} // namespace local_text
