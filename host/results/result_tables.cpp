#include "host/results/result_tables.h"

QByteArray quoted(const QByteArray &name)
{
    return '"' + QByteArray(name).replace('"', "\"\"") + '"';
}

qsizetype result_table::find(const QByteArray &column) const
{
    for (qsizetype i = 0; i < columns.size(); ++i) {
        if (columns.at(i).name.compare(column, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

QList<QByteArray> result_table::times() const
{
    return *known->times == '\0' ? QList<QByteArray>() : QByteArray(known->times).split(',');
}

QByteArray result_table::has_time(const QByteArray &time) const
{
    const QByteArray name = quoted(time);
    const QByteArray is_number = "typeof(" + name + ") = 'integer'";
    return known->of_mail ? is_number : QByteArray(is_number + " and " + name + " <> 0");
}

QByteArray result_table::sql_name() const
{
    return (known->of_mail ? "mail_db." : "main.") + quoted(known->name);
}
