/// One run over all sources, from the first row to the summary.
#pragma once

#include "host/extract_options.h"
#include "host/result_database.h"
#include "host/signal_watch.h"
#include "host/summary.h"

#include <QSet>

class plugin_run;
class progress_display;

/// One run over all sources, once every place is made and every source is ready.
class extraction
{
public:
    extraction(const extract_options &run_options, plugin_run &loaded, progress_display &shown, signal_watch &watch)
        : options(run_options)
        , paths(run_options.result_dir)
        , plugin(loaded)
        , progress(shown)
        , signals_watched(watch)
    {
    }

    /// `started` is when the program began to read the sources.
    [[nodiscard]] exit_status run(const QList<ready_source> &sources, const last_rows &before,
                                  const QDateTime &started);

private:
    void extract(const ready_source &source, last_rows &before);
    void count_failures(const ready_source &source, qint64 offset);
    /// `line` is what run.json keeps of a failure that was logged; otherwise it keeps the sentence.
    void add_failure(const QString &sentence, const QString &line = {});
    void check_evidence();
    void record_results(const QSet<QString> &attachments_before);
    void write_record();
    [[nodiscard]] exit_status status() const;
    [[nodiscard]] bool is_cancelled() const { return signals_watched.received() != 0; }

    const extract_options &options;
    result_paths paths;
    plugin_run &plugin;
    progress_display &progress;
    signal_watch &signals_watched;
    run_record record;
    run_summary summary;
    bool result_lost = false; ///< there is no result database that can be read
};
