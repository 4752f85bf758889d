#include "host/log_file.h"

#include "common/encryptor_string.h"

#include <QRegularExpression>

namespace {

constexpr qint64 block_size = 1024 * 1024;
constexpr QByteArrayView end_of_piece("<[{()}]>");

bool is_base64(QByteArrayView bytes)
{
    for (const char byte : bytes) {
        const bool known = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
                           (byte >= '0' && byte <= '9') || byte == '+' || byte == '/' || byte == '=';
        if (!known)
            return false;
    }
    return true;
}

/// Where a piece ends, and how long its end mark is.
struct piece_end
{
    qsizetype at = -1;
    qsizetype mark_size = 0;
};

/// A line of the log begins with "[" and ends in a line feed, whatever its text holds. Anything else is an enciphered
/// piece, or the rest of a message of several lines, and ends at whichever mark comes first.
piece_end end_of_first_piece(QByteArrayView bytes)
{
    const qsizetype line_feed = bytes.indexOf('\n');
    const qsizetype mark = bytes.startsWith('[') ? -1 : bytes.indexOf(end_of_piece);
    if (mark >= 0 && (line_feed < 0 || mark < line_feed))
        return {mark, end_of_piece.size()};
    return {line_feed, 1};
}

} // namespace

log_file::log_file(const QString &path)
    : file(path)
{
}

bool log_file::open(qint64 offset)
{
    block_offset = offset;
    return file.open(QIODevice::ReadOnly) && file.seek(offset);
}

bool log_file::more()
{
    block.remove(0, at);
    block_offset += at;
    at = 0;
    const QByteArray bytes = file.read(block_size);
    block += bytes;
    return !bytes.isEmpty();
}

bool log_file::next(piece &found)
{
    piece_end end = end_of_first_piece(QByteArrayView(block).sliced(at));
    while (end.at < 0 && more())
        end = end_of_first_piece(block);
    const bool cut_off = end.at < 0;
    if (cut_off)
        end = {block.size() - at, 0};
    if (cut_off && end.at == 0)
        return false;

    const QByteArray bytes = block.mid(at, end.at);
    found = {.line = QString::fromLocal8Bit(bytes), .offset = block_offset + at, .size = end.at, .readable = true};
    const bool enciphered = cut_off ? is_base64(bytes) : end.mark_size == end_of_piece.size();
    if (enciphered) {
        encryptor_string cipher;
        found.line = is_base64(bytes) ? cipher.decryptToString(QString::fromLatin1(bytes)) : QString();
        found.readable = !found.line.isEmpty();
    }
    at += end.at + end.mark_size;
    return true;
}

bool tells_failure(const QString &line)
{
    // The fixed text of a message stands in front of any path in it, and paths begin with "/".
    static const QRegularExpression mark(QStringLiteral("^[^/]*?(-{2,} ?FAILED ?-{2,}|File Open Failed:)"));
    const qsizetype message = line.indexOf(QLatin1StringView("]:-- "));
    return message >= 0 && mark.match(QStringView(line).sliced(message + 5)).hasMatch();
}
