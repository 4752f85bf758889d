#include "extractors/android/step_runner.h"

#include "common/cancel_flag.h"
#include "common/log_line.h"
#include "common/plugin_static_function.h"
#include "extractors/android/accounts.h"
#include "extractors/android/extract_step.h"
#include "extractors/android/source_database.h"
#include "extractors/rows/record_counter.h"
#include "extractors/rows/row_writer.h"
#include "extractors/rows/texts.h"

#include <QFile>
#include <QSqlError>

#include <new>

namespace {

// Scripts search logs for exactly these texts.
constexpr char step_starts[] = "Starts";
constexpr char step_ends[] = " Ends"; // not logged when the step ends early
constexpr char destination_not_opened[] = " Destination Db opening ---FAILED--- ";
constexpr char source_not_opened[] = " Source Db opening ---FAILED----";
constexpr char insert_failed[] = "Insertion Query -----FAILED-----";
constexpr char row_too_large[] = "A row is too large";

void log_failed_open(const extract_step &step, const open_database &source, const log_origin &origin)
{
    const QString path = source.connection().databaseName();
    const bool with_path = step.open_failure_wording == extract_step::open_failure::with_path;
    log_line({source_not_opened, origin}, with_path ? path : QString());
    log_line({"", origin}, source.connection().lastError().text());
    if (!with_path)
        log_line({"", origin}, path);
}

} // namespace

step_runner::step_runner(const android_source &of, QString destination_path, const plugin_helper_functions &helper,
                         const cancel_flag &flag, record_counter &counter)
    : source(of)
    , cancelled(flag)
    , destination_db_file(std::move(destination_path))
    , copies(helper)
    , records(counter)
{
}

void step_runner::run_on_provider(const extract_step &step, const log_origin &origin)
{
    log_line({step_starts, origin});
    if (!QFile::exists(source.provider_db_path))
        return;
    const QString copy = copies.path_of(source.provider_db_path);
    if (QFile::exists(copy))
        run_on_copy(step, source.provider_db_path, copy, origin);
}

void step_runner::run_on_file(const extract_step &step, const QString &source_path, const log_origin &origin)
{
    log_line({step_starts, origin});
    const QString copy = copies.path_of(source_path);
    if (!copy.isEmpty())
        run_on_copy(step, source_path, copy, origin);
}

void step_runner::run_on_copy(const extract_step &step, const QString &source_path, const QString &copy,
                              const log_origin &origin)
{
    const open_database destination(origin.signature(), destination_db_file);
    if (!check_destination(destination, origin))
        return;
    row_writer rows = writer_into(destination, step, origin);
    running_step running = {step, origin, rows, context_of(source_path.trimmed())};
    const outcome result = copy_rows(running, copy);
    records.finish(rows);
    if (result == outcome::all_read)
        log_line({step_ends, origin});
}

void step_runner::run_on_every_mail_store(const extract_step &step, const log_origin &origin)
{
    log_line({step_starts, origin});
    const open_database destination(origin.signature(), destination_db_file);
    if (!check_destination(destination, origin))
        return;
    row_writer rows = writer_into(destination, step, origin);
    outcome result = outcome::all_read;
    for (const QString &path : source.mail_store_paths) {
        const QString copy = copies.path_of(path);
        if (QFile::exists(copy)) {
            running_step running = {step, origin, rows, context_of(path)};
            running.context.account = android_source::account_of_mail_store(path);
            result = copy_rows(running, copy);
        }
        copies.remove_all();
        if (result == outcome::cancelled)
            break;
    }
    records.finish(rows);
    if (result != outcome::cancelled)
        log_line({step_ends, origin});
}

/// A row that does not fit into memory ends the table.
step_runner::outcome step_runner::copy_rows(running_step &running, const QString &copy)
{
    try {
        return copy_rows_that_fit(running, copy);
    } catch (const std::bad_alloc &) {
        running.context = {}; // its texts may be what fills the memory
        log_failed_query(copy, QLatin1StringView(row_too_large), QLatin1StringView(running.step.select),
                         running.origin);
        return outcome::failed;
    }
}

step_runner::outcome step_runner::copy_rows_that_fit(running_step &running, const QString &copy)
{
    const auto &[step, origin, rows, context] = running;
    const source_database opened(origin, copy);
    if (!opened.is_open()) {
        log_failed_open(step, opened, origin);
        return outcome::failed;
    }
    QSqlQuery query(opened.connection());
    if (!opened.execute(query, step.select, copy, origin))
        return outcome::failed;

    const std::unique_ptr<row_look_ups> look_ups = step.make_look_ups ? step.make_look_ups(opened, *this) : nullptr;
    while (query.next()) {
        const qsizetype rows_to_write = look_ups ? look_ups->fill(query, running.context) : 1;
        if (step.uses_account)
            know_account(running.context);
        if (cancelled.is_set()) // also because cancelled look-ups are incomplete
            return outcome::cancelled;
        for (qsizetype number = 0; number < rows_to_write; ++number) {
            if (cancelled.is_set())
                return outcome::cancelled;
            if (look_ups)
                look_ups->turn_to(number, query, running.context);
            records.insert(rows, step.values_of(query, context));
        }
    }
    if (!query.lastError().isValid())
        return outcome::all_read;
    log_failed_query(query, copy, origin); // the rows before the error are kept
    return outcome::failed;
}

bool step_runner::check_destination(const open_database &destination, const log_origin &origin) const
{
    if (destination.is_open())
        return true;
    log_line({destination_not_opened, origin}, destination_db_file);
    log_line({"", origin}, destination.connection().lastError().text());
    log_line({"", origin}, destination_db_file);
    return false;
}

row_writer step_runner::writer_into(const open_database &destination, const extract_step &step,
                                    const log_origin &origin) const
{
    const auto log_failure = [origin, this](const QString &statement, const QString &error) {
        log_line({insert_failed, origin}, destination_db_file);
        log_line({"", origin}, error);
        log_line({"", origin}, statement);
    };
    return {destination.connection(), QString::fromLatin1(step.insert), log_failure};
}

/// Looked up when the first row needs it.
void step_runner::know_account(row_context &context)
{
    if (!context.account)
        context.account = get_gmail_account_id(copies.path_of(source.provider_db_path));
}

row_context step_runner::context_of(const QString &source_path) const
{
    row_context context;
    context.source_file = source.source_file_of(source_path);
    context.os_scheme_display = never_null(source.text_field_3);
    context.source_count_name = plugin_static_function::get_source_count_name();
    return context;
}
