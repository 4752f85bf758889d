/// Android: the frame of every extract step.
#include "common/plugin_helper_functions.h"
#include "common/plugin_static_function.h"
#include "extractors/android/extract_step.h"
#include "extractors/gmail_androidos.h"
#include "extractors/row_writer.h"

#include <QFile>
#include <QScopeGuard>
#include <QSqlError>

#include <new>

namespace {

QStringList values_of(const extract_step &step, const QSqlQuery &query, const row_context &context)
{
    QStringList values;
    values.reserve(static_cast<qsizetype>(step.columns.size()));
    for (std::size_t i = 0; i < step.columns.size(); ++i) {
        const int position = step.positions[i];
        values.append(step.columns[i].value(context, position < 0 ? QVariant() : query.value(position)));
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

/// As `run_on_one_source`, but without any further line when the database is not there.
void gmail_androidos::run_on_provider(const extract_step &step, const log_origin &origin, const make_look_up &look_up)
{
    run_on_one_source(step, QFile::exists(provider_db_path) ? provider_db_path : QString(), true, origin, look_up);
}

/// Every early end leaves out the closing line. A copy that could not be made (logged) shows as a database that cannot
/// be opened, unless `needs_copy`.
void gmail_androidos::run_on_one_source(const extract_step &step, const QString &source_path, bool needs_copy,
                                        const log_origin &origin, const make_look_up &look_up)
{
    log_line({"Starts", origin});
    const auto copies_end = qScopeGuard([this] { remove_working_copies(); });
    const QString copy = working_copy_of(source_path);
    if (copy.isEmpty() || (needs_copy && !QFile::exists(copy)))
        return;
    const open_database destination(origin.signature(), destination_db_file);
    if (!check_destination(destination, origin))
        return;
    const std::unique_ptr<row_writer> rows = writer_into(destination, step, origin);
    row_context context = context_of(source_file_value(relative_path(source_path.trimmed())));
    const outcome result = copy_rows(step, copy, context, *rows, origin, look_up);
    finish_rows(*rows);
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
        const auto copies_end = qScopeGuard([this] { remove_working_copies(); });
        const QString copy = working_copy_of(path);
        if (QFile::exists(copy)) {
            row_context context = context_of(source_file_value(relative_path(path)));
            context.account = account_of_mail_store(path);
            result = copy_rows(step, copy, context, *rows, origin, {});
        }
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
    if (const QString refusal = source.prepare(query, statement); !refusal.isEmpty()) {
        log_failed_query(copy, refusal, statement, origin);
        return outcome::failed;
    }
    if (!query.exec()) {
        log_failed_query(query, copy, origin);
        return outcome::failed;
    }

    const row_look_up fill = look_up ? look_up(source) : row_look_up();
    while (query.next()) {
        if (fill)
            fill(query, context);
        if (step.uses_account)
            know_account(context);
        if (bool_cancel_extraction.is_set()) // also because look-ups that a cancel ended tell too little
            return outcome::cancelled;
        if (step.paired_position < 0) {
            insert_row(rows, values_of(step, query, context));
            continue;
        }
        for (const QString &name : std::as_const(context.paired_names)) {
            if (bool_cancel_extraction.is_set())
                return outcome::cancelled;
            context.paired_name = name;
            context.pair_matches = query.value(step.paired_position).toString() == name;
            insert_row(rows, values_of(step, query, context));
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

/// One copy of a source file per step. Empty for an empty path, when the run is cancelled and when there is no folder
/// for it.
QString gmail_androidos::working_copy_of(const QString &source_path)
{
    if (!working_copies.contains(source_path)) {
        const QString copy = helper_obj->get_adhoc_path_for_database(source_path);
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
