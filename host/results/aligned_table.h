/// Rows in aligned columns, cut to the width of a terminal.
#pragma once

#include <QList>
#include <QStringList>

/// Widths are taken from the first rows, so that rows can be printed as they come.
class aligned_table
{
public:
    static constexpr int unlimited = 0;

    /// `width` is that of the terminal. The table is indented by two blanks when it is one of several things printed.
    aligned_table(const QStringList &headings, int width, bool indented = false);

    /// Add a row with one text per heading. Texts are escaped here. A column whose first texts are all numbers is
    /// aligned to the right.
    void add(const QStringList &texts);

    /// Columns that are left out if they are empty in the first rows.
    void drop_when_empty(const QStringList &headings) { droppable = headings; }

    [[nodiscard]] bool has_rows() const { return begun || !waiting.isEmpty(); }

    /// Print the rows that still wait. Call it once, at the end.
    void finish();

    /// Columns that were left out although a later row has a value for them.
    [[nodiscard]] QStringList dropped_with_values() const;

private:
    struct column
    {
        QString heading;
        int width = 0;
        int min_width = 0; ///< when there is not enough room for all
        bool numbers = true;
        bool times = true;
        bool empty = true;
        bool dropped = false;
        bool missed = false; ///< dropped, although a row had a text for it
    };

    void begin();
    void narrow();
    void print_row(const QStringList &texts);

    QList<column> columns;
    int total_width;
    QString indent;
    QStringList droppable;
    QList<QStringList> waiting;
    bool begun = false;
};
