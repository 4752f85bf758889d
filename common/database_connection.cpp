#include "common/database_connection.h"

QSqlDatabase new_connection(const QString &name, const QString &path)
{
    if (QSqlDatabase::contains(name))
        QSqlDatabase::removeDatabase(name);
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    db.setDatabaseName(path);
    return db;
}

open_database::open_database(const QString &name, const QString &path, const QString &options)
    : db(new_connection(name, path))
{
    db.setConnectOptions(options);
    if (!path.isEmpty()) // for an empty path SQLite would open a temporary database
        db.open();
}

open_database::~open_database()
{
    db.close();
}
