#include "extractors/takeout/mail_attachments.h"

#include <algorithm>
#include <numeric>

namespace mail_attachments {

namespace {

constexpr QByteArrayView part_blank_line("\r\n\r\n");
constexpr QByteArrayView body_end("==");

/// For each entry the index of the first entry that begins with it: where its text occurs first in the message.
///
/// Sorted, the entries that begin with an entry come directly after it, like a tree written from its root down. Going
/// backwards, each entry takes the smallest index of the subtrees after it and makes them its own.
std::vector<std::size_t> first_occurrences(const std::vector<mail_attachments::parameter> &entries)
{
    const std::size_t count = entries.size();
    std::vector<std::size_t> sorted(count);
    std::iota(sorted.begin(), sorted.end(), std::size_t(0));
    std::sort(sorted.begin(), sorted.end(), [&entries](std::size_t a, std::size_t b) {
        const int order = QByteArrayView(entries[a].text).compare(entries[b].text);
        return order != 0 ? order < 0 : a < b;
    });
    std::vector<std::size_t> first(count);
    std::vector<std::size_t> behind_subtree(count); // by place in sorted order
    for (std::size_t place = count; place-- > 0;) {
        const std::size_t entry = sorted[place];
        first[entry] = entry;
        std::size_t next = place + 1;
        while (next < count && entries[sorted[next]].text.startsWith(entries[entry].text)) {
            first[entry] = std::min(first[entry], first[sorted[next]]);
            next = behind_subtree[next];
        }
        behind_subtree[place] = next;
    }
    // Of equal entries, only the first in sorted order has all the others after it.
    for (std::size_t place = 1; place < count; ++place) {
        if (entries[sorted[place]].text == entries[sorted[place - 1]].text)
            first[sorted[place]] = first[sorted[place - 1]];
    }
    return first;
}

/// Without white space at the end, as QString::trimmed removes it: also that of Unicode. (The text begins with a mark,
/// so it has none there.)
QByteArrayView without_blanks_behind(QByteArrayView text)
{
    while (!text.isEmpty()) {
        qsizetype begin_of_last = text.size() - 1;
        while (begin_of_last > 0 && (static_cast<uchar>(text[begin_of_last]) & 0xC0) == 0x80)
            --begin_of_last; // a byte inside a UTF-8 sequence
        const QByteArrayView last = text.sliced(begin_of_last);
        // (fromUtf8 would drop a byte order mark, which is not white space.)
        if (last == QByteArrayView("\xEF\xBB\xBF") || !QString::fromUtf8(last).trimmed().isEmpty())
            break;
        text.truncate(begin_of_last);
    }
    return text;
}

} // namespace

parameter_list parameters(const mail_marks &message)
{
    parameter_list list;
    rising_search line_feeds(message.bytes, "\n");
    qsizetype end_of_last = -1;
    int taken_of_line = 0;
    qsizetype characters_of_others = 0;
    for (const qsizetype begin : message.file_names) {
        if (message.is_cancelled())
            break;
        if (list.entries.size() >= max_of_message) {
            ++list.left_out_of_message;
            continue;
        }
        const qsizetype line_feed = line_feeds.at_or_behind(begin);
        const qsizetype end = line_feed < 0 ? message.bytes.size() : line_feed;
        taken_of_line = end == end_of_last ? taken_of_line + 1 : 1;
        end_of_last = end;
        if (taken_of_line > min_of_line) {
            characters_of_others += end - begin;
            if (characters_of_others > max_characters_of_others) {
                ++list.left_out;
                continue;
            }
        }
        list.entries.push_back({without_blanks_behind(message.bytes.sliced(begin, end - begin)), begin});
    }
    return list;
}

std::vector<QByteArrayView> bodies(const mail_marks &message, const std::vector<parameter> &entries)
{
    const std::vector<std::size_t> first = first_occurrences(entries);

    std::vector<QByteArrayView> found(entries.size());
    rising_search blank_lines(message.bytes, part_blank_line);
    rising_search ends(message.bytes, body_end);
    for (std::size_t i = 0; i < found.size(); ++i) {
        const qsizetype begin = entries[i].position;
        const qsizetype blank_line = begin < 1 ? -1 : blank_lines.at_or_behind(begin);
        const qsizetype end = blank_line < 0 ? -1 : ends.at_or_behind(blank_line);
        if (end >= 0)
            found[i] = message.bytes.sliced(blank_line, end - blank_line);
        found[i] = found[first[i]]; // never after i
    }
    return found;
}

QString name_in(QByteArrayView entry)
{
    return QString::fromLocal8Bit(entry).remove(QLatin1StringView("filename=")).remove(u'"');
}

} // namespace mail_attachments
