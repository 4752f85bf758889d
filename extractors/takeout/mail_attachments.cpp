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

QStringList parameters(const mail &message)
{
    QStringList entries;
    rising_search line_feeds(message.bytes, "\n");
    qsizetype size = 0;
    for (const qsizetype begin : message.file_names) {
        const qsizetype line_feed = line_feeds.at_or_behind(begin);
        const qsizetype end = line_feed < 0 ? message.bytes.size() : line_feed;
        size += end - begin;
        if (size > longest_list && !entries.isEmpty())
            break;
        entries.append(QString::fromLocal8Bit(message.bytes.sliced(begin, end - begin)).trimmed());
    }
    return entries;
}

std::vector<QByteArrayView> bodies(const mail &message, const QStringList &entries)
{
    std::vector<QByteArray> texts;
    for (const QString &entry : entries)
        texts.push_back(entry.toLocal8Bit());
    const std::vector<std::size_t> first = first_occurrences(texts);

    std::vector<QByteArrayView> found(texts.size());
    rising_search blank_lines(message.bytes, part_blank_line);
    rising_search ends(message.bytes, body_end);
    for (std::size_t i = 0; i < found.size(); ++i) {
        const qsizetype begin = message.file_names[i];
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
