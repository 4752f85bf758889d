/// Shared by the five extractors: settings, run sequence, and the counting and reporting of rows.
#pragma once

#include "common/cancel_flag.h"
#include "common/common_records.h"
#include "common/evidence_root.h"
#include "extractors/rows/record_counter.h"

#include <QStringList>
#include <QWidget>

class plugin_helper_functions;

/// An extractor finds and extracts the artifacts of one kind of source. `gmail` owns one of each kind, passes every
/// setting to all of them, and runs the one whose `os_scheme` is that of the source.
///
/// Order of use: settings, `set_essentials`, `find_artifacts_source`, `extract_artifacts`; `cancel_extraction` at any
/// time, also from another thread. Settings and counts persist between runs until set again.
class extractor_frame : public QWidget
{
    Q_OBJECT

public:
    explicit extractor_frame(QWidget *parent);

    /// The os scheme of this extractor, as source settings name it.
    [[nodiscard]] virtual QLatin1StringView os_scheme() const = 0;

    void set_plugin_helper_obj(plugin_helper_functions *helper); ///< not owned
    void set_record_count(qint64 count);                         ///< rows extracted so far; the run adds to it
    void set_tab_processed_count(int count);                     ///< tables done so far; the run adds to it
    void set_desktop_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info desktop_info); ///< ignored
    void set_general_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info general_info); ///< ignored
    void set_source_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info source_info);    ///< before the search
    void set_plugin_name(QString name);                                                       ///< kept trimmed
    /// The directories for results and for working copies (both end in "/"), and the result database.
    void set_destination_location(QString result_dir, QString tmp_dir, QString db_file);
    void set_essential_for_talvo_bench_extraction(QStringList tables); ///< the tables to fill
    void set_engine_type(int engine_type);                             ///< only 0 (bench) extracts rows
    void set_essentials();                                             ///< clears the cancel flag
    void cancel_extraction();                                          ///< ask a run to end; from any thread
    void set_source_count(int count);                                  ///< the host's number for the source

    /// Locate the source's files and forget those found before.
    void find_artifacts_source();

    /// Extract, then report the total of rows (even if none were added).
    void extract_artifacts();

protected:
    /// Every extractor implements these two: locate the files, insert the rows.
    virtual void find_source_file() = 0;
    virtual void extract_plugin_artifacts() = 0;
    /// Keep those source settings that the frame does not already keep.
    virtual void keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info);

    /// Emit the signals that are named after the scheme.
    virtual void report_records(qint64 total) = 0;
    virtual void report_tabs(int total) = 0;

    void finish_tab(); ///< count one tab and report it

    /// Whether the host wants this table filled.
    [[nodiscard]] bool selected(QLatin1StringView table) const;

    record_counter records;
    int tab_processed_count_int = 0;
    plugin_helper_functions *helper_obj = nullptr;
    QString tmp_dir_path;
    QString destination_db_file;
    QString artifacts_result_dir;
    int engine_type_int = 0;
    cancel_flag bool_cancel_extraction;
    int source_count_int = 0;
    QStringList essential_list_QStringList;
    QString plugin_name;
    QString virtual_source_path;
    QString source_type_internal;
    evidence_root source_root;
    QString text_field_3;
};

/// Declares an extractor's operations, named with its prefix, and its two signals. It adds names, not logic; moc reads
/// it like any other declaration.
///
///     <prefix>_set_plugin_helper_obj   _set_record_count   _set_tab_processed_count   _set_desktop_info
///     _set_general_info   _set_source_info   _set_plugin_name   _set_essential_for_talvo_bench_extraction
///     _set_engine_type   _set_essentials   _cancel_extraction   _set_source_count   _find_artifacts_source
///     _extract_artifacts
///
/// Each class declares `<prefix>_set_destination_location` itself, because the Takeout extractor takes one more
/// argument.
#define EXTRACTOR_OPERATIONS(prefix)                                                                                   \
public:                                                                                                                \
    void prefix##_set_plugin_helper_obj(plugin_helper_functions *helper)                                               \
    {                                                                                                                  \
        set_plugin_helper_obj(helper);                                                                                 \
    }                                                                                                                  \
    void prefix##_set_record_count(qint64 count)                                                                       \
    {                                                                                                                  \
        set_record_count(count);                                                                                       \
    }                                                                                                                  \
    void prefix##_set_tab_processed_count(int count)                                                                   \
    {                                                                                                                  \
        set_tab_processed_count(count);                                                                                \
    }                                                                                                                  \
    void prefix##_set_desktop_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info desktop_info)                  \
    {                                                                                                                  \
        set_desktop_info(desktop_info);                                                                                \
    }                                                                                                                  \
    void prefix##_set_general_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info general_info)                  \
    {                                                                                                                  \
        set_general_info(general_info);                                                                                \
    }                                                                                                                  \
    void prefix##_set_source_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info source_info)                     \
    {                                                                                                                  \
        set_source_info(source_info);                                                                                  \
    }                                                                                                                  \
    void prefix##_set_plugin_name(QString name)                                                                        \
    {                                                                                                                  \
        set_plugin_name(name);                                                                                         \
    }                                                                                                                  \
    void prefix##_set_essential_for_talvo_bench_extraction(QStringList tables)                                         \
    {                                                                                                                  \
        set_essential_for_talvo_bench_extraction(tables);                                                              \
    }                                                                                                                  \
    void prefix##_set_engine_type(int engine_type)                                                                     \
    {                                                                                                                  \
        set_engine_type(engine_type);                                                                                  \
    }                                                                                                                  \
    void prefix##_set_essentials()                                                                                     \
    {                                                                                                                  \
        set_essentials();                                                                                              \
    }                                                                                                                  \
    void prefix##_cancel_extraction()                                                                                  \
    {                                                                                                                  \
        cancel_extraction();                                                                                           \
    }                                                                                                                  \
    void prefix##_set_source_count(int count)                                                                          \
    {                                                                                                                  \
        set_source_count(count);                                                                                       \
    }                                                                                                                  \
    void prefix##_find_artifacts_source()                                                                              \
    {                                                                                                                  \
        find_artifacts_source();                                                                                       \
    }                                                                                                                  \
    void prefix##_extract_artifacts()                                                                                  \
    {                                                                                                                  \
        extract_artifacts();                                                                                           \
    }                                                                                                                  \
Q_SIGNALS:                                                                                                             \
    void signal_extracted_records_of_plugin_##prefix(qint64 total);                                                    \
    void signal_total_tabs_processed_##prefix(int total);                                                              \
                                                                                                                       \
private:                                                                                                               \
    void report_records(qint64 total) override                                                                         \
    {                                                                                                                  \
        Q_EMIT signal_extracted_records_of_plugin_##prefix(total);                                                     \
    }                                                                                                                  \
    void report_tabs(int total) override                                                                               \
    {                                                                                                                  \
        Q_EMIT signal_total_tabs_processed_##prefix(total);                                                            \
    }
