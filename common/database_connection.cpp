#include "common/database_connection.h"

#include <QSqlDatabase>

QSqlDatabase new_connection(const QString &name, const QString &path)
{
    if (QSqlDatabase::contains(name))
        QSqlDatabase::removeDatabase(name);
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    db.setDatabaseName(path);
    return db;
}
