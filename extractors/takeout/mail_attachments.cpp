#include "extractors/takeout/mail_attachments.h"

#include <algorithm>
#include <numeric>

namespace mail_attachments {

namespace {

constexpr QByteArrayView part_blank_line("\r\n\r\n");
constexpr QByteArrayView body_end("==");

/// For each entry the index of the first entry that begins with it: where its text occurs first in the message.
///
/// In sorted order the entries that begin with an entry stand directly behind it, as a tree written from its root down:
/// going backwards, each entry takes the smallest index of the subtrees behind it and closes them.
std::vector<std::size_t> first_occurrences(const std::vector<QByteArray> &entries)
{
    const std::size_t count = entries.size();
    std::vector<std::size_t> sorted(count);
    std::iota(sorted.begin(), sorted.end(), std::size_t(0));
    std::sort(sorted.begin(), sorted.end(), [&entries](std::size_t a, std::size_t b) {
        const int order = entries[a].compare(entries[b]);
        return order != 0 ? order < 0 : a < b;
    });
    std::vector<std::size_t> first(count);
    std::vector<std::size_t> behind_subtree(count); // by place in sorted order
    for (std::size_t place = count; place-- > 0;) {
        const std::size_t entry = sorted[place];
        first[entry] = entry;
        std::size_t next = place + 1;
        while (next < count && entries[sorted[next]].startsWith(entries[entry])) {
            first[entry] = std::min(first[entry], first[sorted[next]]);
            next = behind_subtree[next];
        }
        behind_subtree[place] = next;
    }
    // Of equal entries only the first in sorted order has all the others behind it.
    for (std::size_t place = 1; place < count; ++place) {
        if (entries[sorted[place]] == entries[sorted[place - 1]])
            first[sorted[place]] = first[sorted[place - 1]];
    }
    return first;
}

} // namespace

parameter_list parameters(const mail &message)
{
    parameter_list list;
    rising_search line_feeds(message.bytes, "\n");
    qsizetype end_of_last = -1;
    int taken_of_line = 0;
    qsizetype characters_of_others = 0;
    for (const qsizetype begin : message.file_names) {
        const qsizetype line_feed = line_feeds.at_or_behind(begin);
        const qsizetype end = line_feed < 0 ? message.bytes.size() : line_feed;
        taken_of_line = end == end_of_last ? taken_of_line + 1 : 1;
        end_of_last = end;
        if (taken_of_line > always_taken_of_a_line) {
            characters_of_others += end - begin;
            if (characters_of_others > most_characters_of_others) {
                ++list.left_out;
                continue;
            }
        }
        list.entries.push_back({QString::fromLocal8Bit(message.bytes.sliced(begin, end - begin)).trimmed(), begin});
    }
    return list;
}

std::vector<QByteArrayView> bodies(const mail &message, const std::vector<parameter> &entries)
{
    std::vector<QByteArray> texts;
    for (const parameter &entry : entries)
        texts.push_back(entry.text.toLocal8Bit());
    const std::vector<std::size_t> first = first_occurrences(texts);

    std::vector<QByteArrayView> found(entries.size());
    rising_search blank_lines(message.bytes, part_blank_line);
    rising_search ends(message.bytes, body_end);
    for (std::size_t i = 0; i < found.size(); ++i) {
        const qsizetype begin = entries[i].position;
        const qsizetype blank_line = begin < 1 ? -1 : blank_lines.at_or_behind(begin);
        const qsizetype end = blank_line < 0 ? -1 : ends.at_or_behind(blank_line);
        if (end >= 0)
            found[i] = message.bytes.sliced(blank_line, end - blank_line);
        found[i] = found[first[i]]; // never behind i
    }
    return found;
}

QString name_in(const QString &entry)
{
    return QString(entry).remove(QLatin1StringView("filename=")).remove(u'"');
}

} // namespace mail_attachments
