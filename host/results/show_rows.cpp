#include "host/results/aligned_table.h"
#include "host/results/show.h"
#include "host/results/time_text.h"
#include "host/terminal.h"

namespace {

/// Longer texts cannot be seen in one line of any terminal.
constexpr qsizetype max_bytes_in_line = 8192;

QStringList names_of(const QList<result_column> &columns)
{
    QStringList names;
    for (const result_column &each : columns)
        names.append(QString::fromUtf8(each.name));
    return names;
}

/// Texts with tabs between them. Tabs and line feeds in a text are escaped like everything a terminal could obey.
QByteArray escaped_line(const QStringList &texts)
{
    QString line;
    for (const QString &text : texts) {
        if (&text != &texts.first())
            line += u'\t';
        line += escaped(text);
    }
    return line.toUtf8() + '\n';
}

void print_aligned(sqlite_statement &rows, const row_query &query, const row_selection &selection,
                   const show_layout &layout)
{
    const QStringList names = names_of(query.columns);
    aligned_table lines(names, layout.width);
    if (selection.columns.isEmpty())
        lines.drop_when_empty(names);
    qint64 count = 0;
    for (; !output_is_closed() && rows.next(); ++count) {
        QStringList texts;
        for (int i = 0; i < rows.columns(); ++i) {
            cell value = rows.at(i);
            value.bytes.truncate(qMin(value.bytes.size(), max_bytes_in_line));
            texts.append(shown_text(value, query.columns.at(i)));
        }
        lines.add(texts);
    }
    lines.finish();
    print(QStringLiteral("%1 %2").arg(count).arg(count == 1 ? QStringLiteral("row") : QStringLiteral("rows")));
    const QStringList dropped = lines.dropped_with_values();
    if (!dropped.isEmpty())
        print(QStringLiteral("Not shown, because they are empty in the first rows: %1 (--columns shows them)")
                  .arg(dropped.join(QLatin1StringView(", "))));
}

void print_separated(sqlite_statement &rows, const row_query &query)
{
    print_bytes(escaped_line(names_of(query.columns)));
    while (!output_is_closed() && rows.next()) {
        QStringList texts;
        for (int i = 0; i < rows.columns(); ++i)
            texts.append(shown_text(rows.at(i), query.columns.at(i)));
        print_bytes(escaped_line(texts));
    }
}

} // namespace

QString shown_text(const cell &value, const result_column &column)
{
    switch (value.stored_as) {
    case cell::type::integer:
        return column.is_time && (value.integer != 0 || !column.zero_is_none) ? utc_text_of(value.integer)
                                                                              : QString::number(value.integer);
    case cell::type::real:
        return QString::number(value.real, 'g', QLocale::FloatingPointShortest);
    case cell::type::text:
        return QString::fromUtf8(value.bytes);
    case cell::type::blob:
        return QString::fromLatin1(value.bytes.toByteArray().toHex());
    case cell::type::null:
        break;
    }
    return {};
}

maybe_refusal show_rows(const result_reader &reader, const row_selection &selection, const show_layout &layout)
{
    row_query query;
    if (maybe_refusal refused = make_query(reader, selection, query))
        return refused;
    sqlite_statement rows = query.run(reader);
    if (layout.aligned)
        print_aligned(rows, query, selection, layout);
    else
        print_separated(rows, query);
    if (maybe_refusal failed = reader.failure(rows))
        return failed;
    return reader.changed();
}

void print_title(const QString &title)
{
    print(QString());
    print(title);
}

maybe_refusal show_list(const result_reader &reader, const show_layout &layout, const QString &title,
                        const QStringList &headings, const QByteArray &query, const query_values &values)
{
    sqlite_statement rows = reader.query(query, values);
    aligned_table lines(headings, layout.width, true);
    for (bool first = true; !output_is_closed() && rows.next(); first = false) {
        if (first)
            print_title(title);
        QStringList texts;
        for (int i = 0; i < rows.columns(); ++i)
            texts.append(QString::fromUtf8(rows.text(i)));
        lines.add(texts);
    }
    if (lines.has_rows())
        lines.finish();
    return reader.failure(rows);
}
