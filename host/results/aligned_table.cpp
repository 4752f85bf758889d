#include "host/results/aligned_table.h"

#include "host/results/text_width.h"
#include "host/terminal.h"

#include <algorithm>

namespace {

constexpr qsizetype rows_measured = 200;
constexpr int min_width_of_text = 6;
constexpr int width_of_day = 11; // with the sign that something was cut
constexpr int gap = 2;

bool is_number(const QString &text)
{
    return std::all_of(text.begin(), text.end(), [](QChar each) { return each >= u'0' && each <= u'9'; });
}

bool is_time(const QString &text)
{
    return text.isEmpty() || text == u"0" ||
           (text.size() == 20 && text.at(4) == u'-' && text.at(10) == u'T' && text.endsWith(u'Z'));
}

} // namespace

aligned_table::aligned_table(const QStringList &headings, int width, bool indented)
    : total_width(width)
    , indent(indented ? QStringLiteral("  ") : QString())
{
    for (const QString &heading : headings)
        columns.append({heading, width_of(heading)});
}

void aligned_table::add(const QStringList &texts)
{
    QStringList row;
    for (const QString &text : texts)
        row.append(escaped(text.simplified()));
    if (begun) {
        print_row(row);
        return;
    }
    waiting.append(row);
    if (waiting.size() == rows_measured)
        begin();
}

void aligned_table::begin()
{
    begun = true;
    for (const QStringList &row : std::as_const(waiting)) {
        for (qsizetype i = 0; i < columns.size(); ++i) {
            columns[i].width = std::max(columns.at(i).width, width_of(row.at(i)));
            columns[i].numbers &= is_number(row.at(i));
            columns[i].times &= is_time(row.at(i));
            columns[i].empty &= row.at(i).isEmpty();
        }
    }
    for (column &each : columns)
        each.dropped = each.empty && !waiting.isEmpty() && droppable.contains(each.heading);
    narrow();
    QStringList headings;
    for (const column &each : std::as_const(columns))
        headings.append(each.heading);
    print_row(headings);
    for (column &each : columns)
        each.missed = false; // by the headings
    for (const QStringList &row : std::as_const(waiting))
        print_row(row);
    waiting.clear();
}

/// Narrow the widest columns until all fit. Numbers stay whole, and so does the day of a time.
void aligned_table::narrow()
{
    if (total_width == unlimited)
        return;
    int needed = static_cast<int>(indent.size()) - gap;
    for (column &each : columns) {
        needed += each.dropped ? 0 : each.width + gap;
        each.min_width = each.numbers ? each.width : each.times ? width_of_day : min_width_of_text;
    }
    for (; needed > total_width; --needed) {
        column *widest = nullptr;
        for (column &each : columns) {
            if (!each.dropped && each.width > each.min_width && (!widest || each.width >= widest->width))
                widest = &each;
        }
        if (!widest)
            return; // the rest of the line is cut
        --widest->width;
    }
}

void aligned_table::print_row(const QStringList &texts)
{
    QString line = indent;
    QString blanks;
    for (qsizetype i = 0; i < columns.size(); ++i) {
        column &at = columns[i];
        at.missed |= at.dropped && !texts.at(i).isEmpty();
        if (at.dropped)
            continue;
        const QString text = total_width == unlimited ? texts.at(i) : cut_to_width(texts.at(i), at.width);
        const QString room(std::max(0, at.width - width_of(text)), u' ');
        line += blanks + (at.numbers ? QString(room + text) : text);
        blanks = (at.numbers ? QString() : room) + QString(gap, u' ');
    }
    while (line.endsWith(u' '))
        line.chop(1);
    print(total_width == unlimited ? line : cut_to_width(line, total_width));
}

void aligned_table::finish()
{
    if (!begun)
        begin();
}

QStringList aligned_table::dropped_with_values() const
{
    QStringList names;
    for (const column &each : columns) {
        if (each.missed)
            names.append(each.heading);
    }
    return names;
}
