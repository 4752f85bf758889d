#include "host/log_file.h"

#include "common/base64.h"

#include <QRegularExpression>

#include <string_view>

namespace {

constexpr QByteArrayView end_of_enciphered_piece("<[{()}]>");

bool is_base64(QByteArrayView bytes)
{
    const QByteArray text = QByteArray::fromRawData(bytes.data(), bytes.size());
    return static_cast<bool>(QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors));
}

} // namespace

log_file::log_file(const QString &path, qint64 bytes_of_block)
    : file(path)
    , block_size(bytes_of_block)
    , line_feeds("\n")
    , end_marks(end_of_enciphered_piece)
{
}

qsizetype log_file::growing_search::at_or_behind(QByteArrayView grown, qsizetype position)
{
    if (hit >= position)
        return hit;
    const qsizetype begin = qMax(position, searched);
    hit = grown.indexOf(needle, begin);
    searched = hit >= 0 ? hit + 1 : qMax(begin, grown.size() - needle.size() + 1);
    return hit;
}

void log_file::growing_search::front_was_removed(qsizetype size)
{
    hit = qMax<qsizetype>(hit - size, -1);
    searched = qMax<qsizetype>(searched - size, 0);
}

bool log_file::open(qint64 offset)
{
    block_offset = offset;
    return file.open(QIODevice::ReadOnly) && file.seek(offset);
}

bool log_file::more()
{
    block.remove(0, at);
    line_feeds.front_was_removed(at);
    end_marks.front_was_removed(at);
    block_offset += at;
    at = 0;
    const QByteArray bytes = file.read(block_size);
    block += bytes;
    return !bytes.isEmpty();
}

/// A line of the log begins with "[" and ends in a line feed, even if its text contains an end mark. Anything else is
/// an enciphered piece, or the rest of a message of several lines, and ends at the first mark of either kind.
log_file::piece_end log_file::end_of_piece_at(qsizetype begin)
{
    const bool is_line = begin < block.size() && block[begin] == '[';
    const qsizetype mark = is_line ? -1 : end_marks.at_or_behind(block, begin);
    const qsizetype line_feed = line_feeds.at_or_behind(block, begin);
    if (line_feed >= 0 && (mark < 0 || line_feed < mark))
        return {line_feed, 1};
    return mark < 0 ? piece_end() : piece_end{mark, end_of_enciphered_piece.size()};
}

bool log_file::next(piece &found)
{
    piece_end end = end_of_piece_at(at);
    while (end.at < 0 && more())
        end = end_of_piece_at(at);
    const bool cut_off = end.at < 0;
    if (cut_off)
        end = {block.size(), 0};
    if (cut_off && end.at == at)
        return false;

    const QByteArrayView bytes = QByteArrayView(block).sliced(at, end.at - at);
    found = {.line = {}, .offset = block_offset + at, .size = bytes.size(), .readable = true};
    const bool enciphered = cut_off ? is_base64(bytes) : end.mark_size == end_of_enciphered_piece.size();
    if (!enciphered) {
        found.line = bytes.toByteArray();
    } else {
        if (is_base64(bytes))
            found.line = cipher.decryptToByteArray(decoded_base64(bytes));
        found.readable = !found.line.isEmpty();
    }
    at = end.at + end.mark_size;
    return true;
}

bool tells_failure(const QByteArray &line)
{
    const std::string_view text(line.constData(), static_cast<std::size_t>(line.size()));
    if (text.find("FAILED") == std::string_view::npos && text.find("Failed") == std::string_view::npos)
        return false;
    // The fixed text of a message comes before any path in it, and paths begin with "/".
    static const QRegularExpression mark(QStringLiteral("^[^/]*?(-- ?FAILED ?--|File Open Failed:)"));
    const qsizetype message = line.indexOf("]:-- ");
    return message >= 0 && mark.match(QString::fromUtf8(line.sliced(message + 5))).hasMatch();
}
