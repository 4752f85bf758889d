#include "host/results/report_tables.h"

namespace {

constexpr qint64 max_rows = 2000;              // of a file
constexpr qsizetype max_file_size = 512 << 10; // a file ends with the row that makes it larger
constexpr qsizetype max_cell = 4000;           // bytes shown of a value
constexpr qsizetype max_long_cell = 300;       // the same of a mail's text, which the mail's view has whole

/// One table: columns are written side by side, since most values of a row are absent.
class table_writer
{
public:
    table_writer(const result_table &of, const QString &in)
        : table(of)
        , directory(in)
        , columns(static_cast<std::size_t>(of.columns.size()))
    {
    }

    [[nodiscard]] maybe_refusal add(const sqlite_statement &row)
    {
        if (rows == 0)
            begins.push_back(total);
        for (qsizetype i = 0; i < table.columns.size(); ++i)
            add(columns[static_cast<std::size_t>(i)], row.at(static_cast<int>(i)), limit_of(i));
        ++rows;
        ++total;
        qsizetype size = 0;
        for (const column &each : columns)
            size += each.values.size();
        return rows == max_rows || size > max_file_size ? finish() : maybe_refusal();
    }

    [[nodiscard]] maybe_refusal finish()
    {
        if (rows == 0)
            return {};
        json_text file;
        file.begin_list();
        for (column &each : columns) {
            if (each.rows_with_value == 0) {
                file.null();
            } else {
                fill(each, rows);
                each.values.end_list();
                file.value(each.values);
            }
            each.values.clear();
            each.rows_with_value = each.rows = 0;
        }
        file.end_list();
        rows = 0;
        const QByteArray name = table.name();
        const auto number = static_cast<qint64>(begins.size()) - 1;
        return write_script(directory + QStringLiteral("/%1-%2.js").arg(QLatin1StringView(name)).arg(number), name,
                            number, file);
    }

    void describe(json_text &out) const
    {
        out.begin_object();
        out.key("name");
        out.text(QByteArrayView(table.name()));
        out.key("rows");
        out.number(total);
        out.key("begins");
        out.begin_list();
        for (const qint64 begin : begins)
            out.number(begin);
        out.end_list();
        out.key("columns");
        out.begin_list();
        for (qsizetype i = 0; i < table.columns.size(); ++i) {
            out.begin_list();
            out.text(QByteArrayView(table.columns.at(i).name));
            out.number(table.columns.at(i).is_time ? 1 : 0);
            out.number(columns[static_cast<std::size_t>(i)].is_used ? 1 : 0);
            out.end_list();
        }
        out.end_list();
        out.end_object();
    }

private:
    struct column
    {
        json_text values;
        qint64 rows = 0; ///< for which a value was written
        qint64 rows_with_value = 0;
        bool is_used = false; ///< in any row of the table
    };

    qsizetype limit_of(qsizetype position) const
    {
        const QByteArray &name = table.columns.at(position).name;
        return name == "message_text" || name == "snippet" ? max_long_cell : max_cell;
    }

    /// Nothing is written for a column before its first value.
    static void fill(column &into, qint64 up_to)
    {
        if (into.rows == 0)
            into.values.begin_list();
        for (; into.rows < up_to; ++into.rows)
            into.values.null();
    }

    void add(column &into, const cell &value, qsizetype limit)
    {
        if (value.stored_as == cell::type::null || (value.stored_as == cell::type::text && value.bytes.empty()))
            return;
        fill(into, rows);
        into.is_used = true;
        ++into.rows;
        ++into.rows_with_value;
        if (value.stored_as == cell::type::integer) {
            into.values.number(value.integer);
        } else if (value.stored_as == cell::type::real) {
            into.values.text(QByteArrayView(QByteArray::number(value.real, 'g', 17)));
        } else if (value.bytes.size() <= limit) {
            into.values.text(value.bytes);
        } else {
            qsizetype end = limit;
            while (end > 0 && (static_cast<uchar>(value.bytes.at(end)) & 0xc0) == 0x80)
                --end;
            const QByteArray cut = value.bytes.first(end).toByteArray() + "\xe2\x80\xa6";
            into.values.text(QByteArrayView(cut));
        }
    }

    const result_table &table;
    const QString &directory;
    std::vector<column> columns;
    std::vector<qint64> begins; ///< the first row of each file
    qint64 rows = 0;            ///< of the current file
    qint64 total = 0;
};

maybe_refusal write_table(const result_reader &reader, const result_table &table, const QString &directory,
                          const std::function<bool()> &go_on, json_text &described)
{
    QByteArrayList names;
    for (const result_column &each : table.columns)
        names.append(quoted(each.name));
    sqlite_statement rows = reader.query("select " + names.join(',') + " from " + table.sql_name() + " order by " +
                                         quoted(table.known->key));
    table_writer writer(table, directory);
    while (go_on() && rows.next()) {
        if (maybe_refusal refused = writer.add(rows))
            return refused;
    }
    if (maybe_refusal refused = reader.failure(rows))
        return refused;
    if (maybe_refusal refused = writer.finish())
        return refused;
    writer.describe(described);
    return {};
}

} // namespace

maybe_refusal write_tables(const result_reader &reader, const QString &directory, const std::function<bool()> &go_on,
                           json_text &described)
{
    for (const result_table &table : reader.tables()) {
        if (table.known->of_mail)
            continue;
        if (maybe_refusal refused = write_table(reader, table, directory, go_on, described))
            return refused;
    }
    return {};
}
