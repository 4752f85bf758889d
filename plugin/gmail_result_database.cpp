/// The result database: where it is, how its tables are made and emptied.
#include "common/database_connection.h"
#include "common/log_line.h"
#include "common/plugin_helper_functions.h"
#include "extractors/gmail_androidos.h"
#include "extractors/gmail_gtakeoutos.h"
#include "extractors/gmail_ios_uid.h"
#include "extractors/gmail_macos.h"
#include "extractors/gmail_winos.h"
#include "plugin/gmail.h"
#include "plugin/result_schema.h"

#include <QDir>
#include <QSqlError>
#include <QSqlQuery>

namespace {

constexpr char page_size[] = "PRAGMA page_size = 8192"; // bytes; a mail's body fills several pages of the usual size

} // namespace

void gmail::set_destination_location(QString result_dir)
{
    const log_span span("[set_destination_location] starts", "[set_destination_location] ends");
    if (!result_dir.endsWith(u'/'))
        result_dir += u'/';
    const QString name = pub_get_artifact_name().replace(u' ', u'_');
    artifacts_result_dir = result_dir + QLatin1StringView("Artifacts_Result/") + name + u'/';
    tmp_dir_path = artifacts_result_dir + QLatin1StringView("tmp/");
    // If a directory cannot be made, the databases in it cannot be opened later, which is logged.
    QDir().mkpath(artifacts_result_dir);
    QDir().mkpath(tmp_dir_path);
    helper_obj->set_adhoc_parent_path(tmp_dir_path);
    destination_db_file = artifacts_result_dir + name + QLatin1StringView(".sqlite");

    macos_obj->macos_set_destination_location(artifacts_result_dir, tmp_dir_path, destination_db_file);
    ios_uid_obj->ios_uid_set_destination_location(artifacts_result_dir, tmp_dir_path, destination_db_file);
    winos_obj->winos_set_destination_location(artifacts_result_dir, tmp_dir_path, destination_db_file);
    androidos_obj->androidos_set_destination_location(artifacts_result_dir, tmp_dir_path, destination_db_file);
    gtakeoutos_obj->gtakeoutos_set_destination_location(artifacts_result_dir, tmp_dir_path, destination_db_file,
                                                        QString());
}

void gmail::create_destination_database()
{
    const log_span span("[create_destination_database] starts", "[create_destination_database] ends");
    create_db_tables();
}

void gmail::create_db_tables()
{
    const log_origin origin;
    log_line("[create_db_tables] Starts");
    open_database destination(origin.signature(), destination_db_file);
    QSqlDatabase db = destination.connection();
    if (!destination.is_open()) {
        log_line("[create_db_tables]Destination Db opening  for table creation------FAILED--------");
        log_line("", db.lastError().text());
        log_line("", destination_db_file);
        return;
    }
    QSqlQuery(db).exec(QLatin1StringView(page_size));
    db.transaction();
    const QList<table_statement> schema = result_schema();
    for (const table_statement &entry : schema) {
        if (!plugin_static_function::execute_db_command_by_dbreference(entry.statement, db, origin.signature()))
            log_line(" table creation -----FAILED---- ", entry.table);
    }
    if (!db.commit()) // also after a failed statement, to keep the tables made so far
        log_line(" table creation -----FAILED---- ", db.lastError().text());
    log_line("[create_db_tables] Ends");
}

void gmail::clear_db_tables()
{
    if (!QFile::exists(destination_db_file)) {
        log_line("[clear_db_tables]DB not exists and so returning...");
        return;
    }
    if (engine_type_int != 0)
        return;
    const log_origin origin;
    for (const QString &table : std::as_const(essential_list_QStringList))
        plugin_static_function::execute_db_command_by_dbpath(QLatin1StringView("delete from '") + table + u'\'',
                                                             destination_db_file, origin.signature());
}
