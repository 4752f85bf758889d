#include "common/platform/binary_property_list.h"

namespace {

/// Goes through the lists as they would be unfolded, until there are too many objects.
///
///     "bplist00"; objects; table of their offsets; trailer: ..., size of an offset (byte 6), size of a number (7),
///     count of objects (8 to 15), number of the outermost object (16 to 23), offset of the table (24 to 31)
class unfolding
{
public:
    unfolding(QByteArrayView file, qint64 max_objects)
        : bytes(file)
        , trailer(file.size() - 32)
        , offset_size(integer_at(trailer + 6, 1))
        , number_size(integer_at(trailer + 7, 1))
        , table(integer_at(trailer + 24, 8))
        , objects_left(max_objects)
    {
    }

    [[nodiscard]] bool ends() { return object_ends(integer_at(trailer + 16, 8), 0); }

private:
    /// Big-endian; 0 where the file has no such bytes.
    [[nodiscard]] qint64 integer_at(qint64 at, qint64 size) const
    {
        if (at < 0 || size < 0 || at > bytes.size() - size)
            return 0;
        quint64 value = 0;
        for (const char byte : bytes.sliced(at, size))
            value = value << 8 | static_cast<uchar>(byte);
        return value > quint64(bytes.size()) ? bytes.size() : static_cast<qint64>(value); // nothing is beyond the end
    }

    bool object_ends(qint64 number, int depth)
    {
        if (--objects_left < 0 || depth > max_nested_lists)
            return false;
        qint64 at = integer_at(table + number * offset_size, offset_size);
        const qint64 marker = integer_at(at++, 1);
        const bool is_dictionary = marker >> 4 == 0xD;
        if (marker >> 4 < 0xA || marker >> 4 > 0xD)
            return true; // contains no others
        qint64 count = marker & 0xF;
        if (count == 0xF) { // the count is an integer of its own
            const qint64 size = qint64(1) << (integer_at(at++, 1) & 0x3);
            count = integer_at(at, size);
            at += size;
        }
        for (qint64 i = 0; i < (is_dictionary ? 2 * count : count); ++i) {
            if (!object_ends(integer_at(at + i * number_size, number_size), depth + 1))
                return false;
        }
        return true;
    }

    QByteArrayView bytes;
    qint64 trailer;
    qint64 offset_size;
    qint64 number_size;
    qint64 table;
    qint64 objects_left;
};

} // namespace

bool unfolds_moderately(QByteArrayView bytes, qint64 max_objects)
{
    return !bytes.startsWith("bplist") || unfolding(bytes, max_objects).ends();
}
