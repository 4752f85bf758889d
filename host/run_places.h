/// The directories and files a run writes: checked before anything is made, removed again if the run is refused.
#pragma once

#include "host/extract_options.h"
#include "host/refusal.h"
#include "host/result_database.h"

#include <QLockFile>

#include <atomic>
#include <optional>

/// Remove one of the run's directories with its contents, even while another thread is still creating files there.
void remove_whole(const QString &directory);

class run_places
{
public:
    explicit run_places(const extract_options &options);
    ~run_places();
    Q_DISABLE_COPY_MOVE(run_places)

    /// Refuse anything that would change evidence or spoil a result.
    [[nodiscard]] maybe_refusal check(last_rows &before) const;

    /// Make the result directory and keep other runs out of it.
    [[nodiscard]] maybe_refusal make();

    /// Check that the log can be written.
    [[nodiscard]] maybe_refusal make_log();

    /// From now on everything created stays.
    void keep() { kept = true; }

    /// The process is about to end: remove temporary files, even while another thread is still creating files there.
    void abandon() const;

private:
    void unmake() const;

    const extract_options &options;
    result_paths paths;
    QStringList made_directories; ///< innermost first
    std::optional<QLockFile> lock;
    bool made_log = false;
    std::atomic_bool kept = false;
};
