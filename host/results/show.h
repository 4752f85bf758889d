/// The output of `gmail_host show`. Each function returns why it could not go on; its output is then incomplete.
#pragma once

#include "host/results/row_query.h"

/// How the output is laid out.
struct show_layout
{
    bool aligned = false; ///< in columns, for a terminal; else tab-separated
    int width = 0;        ///< of the terminal, in columns
};

/// An overview: rows and their times, accounts, sources, labels, differences.
[[nodiscard]] maybe_refusal show_overview(const result_reader &reader, const show_layout &layout);

/// The rows of a table.
[[nodiscard]] maybe_refusal show_rows(const result_reader &reader, const row_selection &selection,
                                      const show_layout &layout);

/// One mail: its fields, text and parts, its row, and the differences between the two.
[[nodiscard]] maybe_refusal show_mail(const result_reader &reader, const QString &id, const show_layout &layout);

/// A title after an empty line, and below it all rows of a query. Nothing when there are none.
[[nodiscard]] maybe_refusal show_list(const result_reader &reader, const show_layout &layout, const QString &title,
                                      const QStringList &headings, const QByteArray &query,
                                      const query_values &values = {});

void print_title(const QString &title);

/// A value as text: times in UTC, bytes that are not text in hexadecimal, nothing for NULL.
[[nodiscard]] QString shown_text(const cell &value, const result_column &column);
