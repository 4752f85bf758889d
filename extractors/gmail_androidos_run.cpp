/// Android: the frame of every extract step.
#include "common/plugin_helper_functions.h"
#include "common/plugin_static_function.h"
#include "extractors/android/bounded_query.h"
#include "extractors/android/extract_step.h"
#include "extractors/gmail_androidos.h"
#include "extractors/row_writer.h"

#include <QFile>
#include <QSqlError>
#include <QSqlRecord>

#include <new>

namespace {

/// Where the columns of a step stand in the rows of its query, -1 for those that read nothing. SQLite compares names
/// without regard to case, and so does the record.
QList<int> positions_of(const extract_step &step, const QSqlQuery &query)
{
    const QSqlRecord record = query.record();
    QList<int> positions;
    for (const column &value : step.columns)
        positions.append(value.source_column ? record.indexOf(QLatin1StringView(value.source_column)) : -1);
    return positions;
}

QStringList values_of(const extract_step &step, const QSqlQuery &query, const QList<int> &positions,
                      const row_context &context)
{
    QStringList values;
    values.reserve(positions.size());
    for (qsizetype i = 0; i < positions.size(); ++i) {
        const QVariant read = positions.at(i) < 0 ? QVariant() : query.value(positions.at(i));
        values.append(step.columns[static_cast<std::size_t>(i)].value(context, read));
    }
    return values;
}

/// "mailstore.A.db" belongs to account A. The name is looked for in the whole path; a path without it is the account.
QString account_of_mail_store(const QString &path)
{
    constexpr QLatin1StringView prefix("mailstore.");
    constexpr QLatin1StringView suffix(".db");
    if (!path.contains(prefix))
        return path;
    QString account = path.sliced(path.indexOf(QLatin1StringView("mailstore"))); // without the dot, here
    account.remove(prefix);
    if (account.endsWith(suffix))
        account.chop(suffix.size());
    return account;
}

} // namespace

/// As `run_on_one_source`, but without any further line when the database or its working copy is not there.
void gmail_androidos::run_on_provider(const extract_step &step, const log_origin &origin, const make_look_up &look_up)
{
    const bool is_there = QFile::exists(provider_db_path) && QFile::exists(working_copy_of(provider_db_path));
    run_on_one_source(step, is_there ? provider_db_path : QString(), origin, look_up);
}

/// Every early end leaves out the closing line.
void gmail_androidos::run_on_one_source(const extract_step &step, const QString &source_path, const log_origin &origin,
                                        const make_look_up &look_up)
{
    log_line({"Starts", origin});
    const QString copy = working_copy_of(source_path);
    outcome result = outcome::failed;
    if (!copy.isEmpty()) {
        const open_database destination(origin.signature(), destination_db_file);
        if (check_destination(destination, origin)) {
            const std::unique_ptr<row_writer> rows = writer_into(destination, step, origin);
            row_context context = context_of(source_file_value(relative_path(source_path.trimmed())));
            result = copy_rows(step, copy, context, *rows, origin, look_up);
            finish_rows(*rows);
        }
    }
    remove_working_copies();
    if (result == outcome::all_read)
        log_line({" Ends", origin});
}

/// A store that fails is skipped; a cancel ends the whole step, without the closing line.
void gmail_androidos::run_on_every_mail_store(const extract_step &step, const log_origin &origin)
{
    log_line({"Starts", origin});
    const open_database destination(origin.signature(), destination_db_file);
    if (!check_destination(destination, origin))
        return;
    const std::unique_ptr<row_writer> rows = writer_into(destination, step, origin);
    outcome result = outcome::all_read;
    for (const QString &path : std::as_const(mail_store_paths)) {
        const QString copy = working_copy_of(path);
        if (QFile::exists(copy)) {
            row_context context = context_of(source_file_value(relative_path(path)));
            context.account = account_of_mail_store(path);
            result = copy_rows(step, copy, context, *rows, origin, {});
        }
        remove_working_copies();
        if (result == outcome::cancelled)
            break;
    }
    finish_rows(*rows);
    if (result != outcome::cancelled)
        log_line({" Ends", origin});
}

/// Read every row of the step's query and insert what becomes of it. A row that does not fit into memory ends the
/// table.
gmail_androidos::outcome gmail_androidos::copy_rows(const extract_step &step, const QString &copy, row_context &context,
                                                    row_writer &rows, const log_origin &origin,
                                                    const make_look_up &look_up)
{
    try {
        return copy_rows_that_fit(step, copy, context, rows, origin, look_up);
    } catch (const std::bad_alloc &) {
        context = {}; // its texts may be what takes the memory
        log_failed_query(copy, QStringLiteral("A row is too large"), QLatin1StringView(step.select), origin);
        return outcome::failed;
    }
}

gmail_androidos::outcome gmail_androidos::copy_rows_that_fit(const extract_step &step, const QString &copy,
                                                             row_context &context, row_writer &rows,
                                                             const log_origin &origin, const make_look_up &look_up)
{
    const source_database source(origin, copy);
    if (!source.is_open()) {
        log_failed_open(step, source, origin);
        return outcome::failed;
    }
    const QString statement = QLatin1StringView(step.select);
    QSqlQuery query(source.connection());
    query.setForwardOnly(true);
    QString refusal = why_not_prepared(source.connection(), step.table());
    if (refusal.isEmpty() && query.prepare(statement))
        refusal = why_refused(source.connection(), step.table(), statement);
    if (!refusal.isEmpty()) {
        log_failed_query(copy, refusal, statement, origin);
        return outcome::failed;
    }
    if (!query.exec()) {
        log_failed_query(query, copy, origin);
        return outcome::failed;
    }

    const row_look_up fill = look_up ? look_up(source) : row_look_up();
    const QList<int> positions = positions_of(step, query);
    const int paired_position = step.paired_column ? query.record().indexOf(QLatin1StringView(step.paired_column)) : -1;
    while (query.next()) {
        if (fill)
            fill(query, context);
        if (step.uses_account)
            know_account(context);
        if (bool_cancel_extraction) // also because look-ups that a cancel ended tell too little
            return outcome::cancelled;
        if (!step.paired_column) {
            insert_row(rows, values_of(step, query, positions, context));
            continue;
        }
        for (const QString &name : std::as_const(context.paired_names)) {
            if (bool_cancel_extraction)
                return outcome::cancelled;
            context.paired_name = name;
            context.pair_matches = query.value(paired_position).toString() == name;
            insert_row(rows, values_of(step, query, positions, context));
        }
    }
    if (!query.lastError().isValid())
        return outcome::all_read;
    log_failed_query(query, copy, origin); // the rows broke off; those before are kept
    return outcome::failed;
}

bool gmail_androidos::check_destination(const open_database &destination, const log_origin &origin) const
{
    if (destination.is_open())
        return true;
    log_line({" Destination Db opening ---FAILED--- ", origin}, destination_db_file);
    log_line({"", origin}, destination.connection().lastError().text());
    log_line({"", origin}, destination_db_file);
    return false;
}

std::unique_ptr<row_writer> gmail_androidos::writer_into(const open_database &destination, const extract_step &step,
                                                         const log_origin &origin) const
{
    const auto log_failure = [origin, path = destination.connection().databaseName()](const QString &statement,
                                                                                      const QString &error) {
        log_line({"Insertion Query -----FAILED-----", origin}, path);
        log_line({"", origin}, error);
        log_line({"", origin}, statement);
    };
    return std::make_unique<row_writer>(destination.connection(), QString::fromLatin1(step.insert), log_failure);
}

void gmail_androidos::log_failed_open(const extract_step &step, const open_database &source, const log_origin &origin)
{
    const QString path = source.connection().databaseName();
    const QString error = source.connection().lastError().text();
    if (step.open_failure_wording == extract_step::open_failure::with_path) {
        log_line({" Source Db opening ---FAILED----", origin}, path);
        log_line({"", origin}, error);
        return;
    }
    log_line({" Source Db opening ---FAILED----", origin});
    log_line({"", origin}, error);
    log_line({"", origin}, path);
}

void gmail_androidos::know_account(row_context &context)
{
    if (!context.account)
        context.account = get_gmail_account_id();
}

row_context gmail_androidos::context_of(const QString &source_file) const
{
    row_context context;
    context.source_file = source_file;
    context.os_scheme_display = never_null(text_field_3);
    context.source_count_name = plugin_static_function::get_source_count_name();
    return context;
}

/// One copy of a source file per step. Empty for an empty path and when the run is cancelled. Companions that lead out
/// of the source are left behind.
QString gmail_androidos::working_copy_of(const QString &source_path)
{
    if (!working_copies.contains(source_path)) {
        const log_origin origin;
        const bool with_companions = source_root.holds(source_path + QLatin1StringView("-shm"), origin) &&
                                     source_root.holds(source_path + QLatin1StringView("-wal"), origin);
        const QString copy = with_companions ? helper_obj->get_adhoc_path_for_database(source_path)
                                             : helper_obj->get_adhoc_path_for_regular_file(source_path);
        if (copy.isEmpty())
            return {};
        working_copies.insert(source_path, copy);
    }
    return working_copies.value(source_path);
}

void gmail_androidos::remove_working_copies()
{
    for (const QString &copy : std::as_const(working_copies)) {
        for (const char *suffix : {"", "-shm", "-wal", "-journal"})
            QFile::remove(copy + QLatin1StringView(suffix));
    }
    working_copies.clear();
}

/// `path` below the source's root, with a leading "/".
QString gmail_androidos::relative_path(const QString &path) const
{
    QString relative = path.startsWith(virtual_source_path) ? path.sliced(virtual_source_path.size()) : path;
    return relative.startsWith(u'/') || relative.trimmed().isEmpty() ? relative : u'/' + relative;
}

QString gmail_androidos::source_file_value(const QString &relative) const
{
    return never_null(
        plugin_static_function::get_final_artifact_source_file(relative, QString(), source_type_internal).first);
}
