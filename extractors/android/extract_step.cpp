#include "extractors/android/extract_step.h"

#include <QSqlQuery>

void row_look_ups::turn_to(qsizetype, const QSqlQuery &, row_context &) {}

QStringList extract_step::values_of(const QSqlQuery &row, const row_context &context) const
{
    QStringList values;
    values.reserve(static_cast<qsizetype>(columns.size()));
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const int position = positions[i];
        values.append(columns[i].value(context, position < 0 ? QVariant() : row.value(position)));
    }
    return values;
}
