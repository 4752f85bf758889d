/// The tables of the result database: names, columns, and the statements that create them.
#pragma once

#include <QList>
#include <QString>

struct table_statement
{
    QString table;
    QString statement; ///< creates the table unless it exists
};

/// The six tables, in the order they are created. The first five are for artifacts; "exportfilelist" belongs to the
/// host.
[[nodiscard]] QList<table_statement> result_schema();
