/// Runs extract steps: working copy, connections, query, rows, commit, and their log lines.
#pragma once

#include "extractors/android/android_source.h"
#include "extractors/android/columns.h"
#include "extractors/android/working_copies.h"

#include <memory>

class cancel_flag;
class extract_step;
class log_origin;
class open_database;
class plugin_helper_functions;
class record_counter;
class row_writer;

/// For one step: working copies are removed with the object. Everything passed to it outlives it.
///
/// Lines are logged in the name of an `origin`, whose signature also names the connections. However a step ends, the
/// rows that were inserted are committed.
class step_runner
{
public:
    step_runner(const android_source &of, QString destination_path, const plugin_helper_functions &helper,
                const cancel_flag &flag, record_counter &counter);

    /// Run a step on the provider database; nothing happens when it is not there.
    void run_on_provider(const extract_step &step, const log_origin &origin);
    /// Run a step on one database. When the copy could not be made, opening the database fails.
    void run_on_file(const extract_step &step, const QString &source_path, const log_origin &origin);
    /// Run a step on every mail store. One that fails is skipped; a cancel ends the step.
    void run_on_every_mail_store(const extract_step &step, const log_origin &origin);

    /// Make sure that `context` has the account of the provider database.
    void know_account(row_context &context);

    const android_source &source;
    const cancel_flag &cancelled;

private:
    enum class outcome { all_read, failed, cancelled };
    /// A step whose rows are being copied.
    struct running_step
    {
        const extract_step &step;
        const log_origin &origin;
        row_writer &rows;
        row_context context;
    };

    void run_on_copy(const extract_step &step, const QString &source_path, const QString &copy,
                     const log_origin &origin);
    outcome copy_rows(running_step &running, const QString &copy);
    outcome copy_rows_that_fit(running_step &running, const QString &copy);
    [[nodiscard]] bool check_destination(const open_database &destination, const log_origin &origin) const;
    [[nodiscard]] row_writer writer_into(const open_database &destination, const extract_step &step,
                                         const log_origin &origin) const;
    [[nodiscard]] row_context context_of(const QString &source_path) const;

    QString destination_db_file;
    working_copies copies;
    record_counter &records;
};
