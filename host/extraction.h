/// One run over all sources, from the first row to the summary.
#pragma once

#include "host/extract_options.h"
#include "host/pass/work_queue.h"
#include "host/records/attachment_hashes.h"
#include "host/records/evidence_check.h"
#include "host/result_database.h"
#include "host/signal_watch.h"
#include "host/summary.h"

#include <QSet>

#include <atomic>
#include <memory>
#include <mutex>

class plugin_run;
class progress_display;
class reading_process;
class staging_area;

/// Created once every place exists and every source is ready.
class extraction
{
public:
    extraction(const extract_options &run_options, plugin_run &loaded, reading_process &mail_reader,
               staging_area &staged, progress_display &shown, signal_watch &watch);

    /// `started` is when the program began to read the sources.
    [[nodiscard]] exit_status run(const QList<ready_source> &sources, const last_rows &before,
                                  const QDateTime &started);

private:
    void begin_first_looks(const QList<ready_source> &sources);
    void extract(ready_source source, last_rows &before);
    void show_progress(const ready_source &source, qint64 records, int tabs);
    void count_failures(const ready_source &source, qint64 offset);
    /// run.json gets `line` for a failure that was logged, otherwise the sentence.
    void add_failure(const QString &sentence, const QString &line = {});
    void add_expected_rows(qsizetype sources, const expected_rows &expected);
    void start_reading(const QList<ready_source> &sources);
    void finish_reading();
    [[nodiscard]] QString why_no_rows() const;
    void look_again(const QSet<QString> &attachments_before);
    void compare_evidence();
    bool go_on(qint64 bytes);
    void write_record();
    [[nodiscard]] exit_status status() const;
    [[nodiscard]] bool is_cancelled() const { return signals_watched.received() != 0; }

    const extract_options &options;
    result_paths paths;
    plugin_run &plugin;
    reading_process &reading;
    staging_area &staging;
    progress_display &progress;
    signal_watch &signals_watched;
    run_record record;
    run_summary summary;
    bool result_lost = false; ///< there is no readable result database
    QString file_at_hand;     ///< place of the mbox that the latest rows are from

    std::mutex expected_mutex;
    qint64 rows_expected = 0; ///< of all sources counted so far; negative when one of them is unknown
    qsizetype sources_counted = 0;

    std::atomic<qint64> bytes_done = 0;
    std::atomic<qint64> bytes_in_all = 0;
    // Work done during the extraction; last, since it uses the members above until it ends.
    work_queue queue;
    std::unique_ptr<evidence_check> evidence; ///< null with --no-hash, as is the next
    std::unique_ptr<attachment_hashes> attachments;
};
