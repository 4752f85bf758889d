/// Turns the options of `show` into a query on the result.
#pragma once

#include "host/results/result_reader.h"

#include <QStringList>

/// Which rows and columns of a table; an empty text does not filter.
struct row_selection
{
    QString table;
    QStringList where; ///< COLUMN=TEXT, or COLUMN~TEXT for columns that contain the text
    QString search;    ///< words of the mail
    QString from, to;  ///< text in a name or an address
    QString after, before;
    QString label;
    QStringList columns; ///< "all" for all of them
    QString sort;        ///< a column
    bool reverse = false;
    qint64 limit = -1; ///< rows, -1 for all
};

struct row_query
{
    const result_table *table = nullptr;
    QList<result_column> columns;
    QByteArray sql;
    query_values values;

    [[nodiscard]] sqlite_statement run(const result_reader &reader) const { return reader.query(sql, values); }
};

/// Make the query. Refused, with status 2, when a table or column does not exist, a time cannot be read, a filter does
/// not fit the table, or no mail has the label; with status 5 when a filter needs a Mail.sqlite that cannot be read.
[[nodiscard]] maybe_refusal make_query(const result_reader &reader, const row_selection &selection, row_query &query);
