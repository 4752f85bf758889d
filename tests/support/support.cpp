#include "tests/support/support.h"

#include "common/database_connection.h"
#include "common/plugin_static_function.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

void write_file(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}

QByteArray read_file(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList files_in(const QString &directory)
{
    return QDir(directory).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
}

QStringList rows_of(const QString &database, const QString &query_text)
{
    QStringList rows;
    {
        QSqlDatabase db = new_connection(QStringLiteral("rows_of"), database);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        db.open();
        QSqlQuery query(query_text, db);
        while (query.next()) {
            QStringList values;
            for (int i = 0; !query.isNull(i) || query.value(i).isValid(); ++i)
                values.append(query.isNull(i) ? QStringLiteral("NULL") : query.value(i).toString());
            rows.append(values.join(u'|'));
        }
        if (query.lastError().isValid())
            rows.append(query.lastError().text());
    }
    QSqlDatabase::removeDatabase(QStringLiteral("rows_of"));
    return rows;
}

bool run_sql(const QString &database, const QStringList &statements)
{
    bool done = true;
    QDir().mkpath(QFileInfo(database).path());
    {
        QSqlDatabase db = new_connection(QStringLiteral("run_sql"), database);
        done = db.open();
        QSqlQuery query(db);
        for (const QString &statement : statements)
            done = query.exec(statement) && done;
    }
    QSqlDatabase::removeDatabase(QStringLiteral("run_sql"));
    return done;
}

void damage_page_with(const QString &database, const QByteArray &text)
{
    constexpr qsizetype page_size = 1024;
    QByteArray bytes = read_file(database);
    const qsizetype page = bytes.indexOf(text) / page_size;
    bytes.replace(page * page_size, page_size, QByteArray(page_size, '\xFF'));
    write_file(database, bytes);
}

log_capture::log_capture()
{
    struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info settings;
    settings.debug_mode_status_bool = true;
    settings.debug_print_in_file_bool = true;
    settings.debug_file_path_QString = path();
    plugin_static_function::set_general_info(settings);
}

log_capture::~log_capture()
{
    plugin_static_function::close_debug_file();
    plugin_static_function::set_essentials();
}

QStringList log_capture::lines() const
{
    QStringList lines;
    for (const QString &line : QString::fromUtf8(read_file(path())).split(u'\n', Qt::SkipEmptyParts)) {
        const qsizetype message = line.indexOf(QLatin1StringView("]:-- "));
        const qsizetype function = line.lastIndexOf(u'[', message) + 1;
        lines.append(line.sliced(function, message - function) + QLatin1StringView(": ") + line.sliced(message + 5));
    }
    return lines;
}

QStringList log_capture::lines_with(const QString &text) const
{
    return lines().filter(text);
}

plugin_session::plugin_session(const QString &scheme)
{
    QDir().mkpath(source());
    source_info.virtual_source_path = source();
    source_info.source_type_internal = QStringLiteral("type");
    source_info.text_field_3 = QStringLiteral("display");
    source_info.text_field_11 = QStringLiteral("account");
    source_info.os_scheme_internal = scheme;
    QDir::setCurrent(directory.path()); // an "Attachments" directory is made there
}

QString plugin_session::result(const QString &relative) const
{
    return directory.filePath(QStringLiteral("result/Artifacts_Result/Gmail/") + relative);
}

void plugin_session::prepare(const QStringList &tables)
{
    plugin.pub_set_source_info(source_info);
    plugin.pub_set_engine_type(0);
    plugin.pub_set_source_count(1);
    plugin.pub_set_result_directory(directory.filePath(QStringLiteral("result")));
    plugin.pub_set_essential_for_talvo_bench_extraction(tables, {});
    plugin.pub_create_db_tables();
}

void plugin_session::extract()
{
    plugin.pub_find_source_file();
    plugin.pub_extract_artifacts();
}
