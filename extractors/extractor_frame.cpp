#include "extractors/extractor_frame.h"

extractor_frame::extractor_frame(QWidget *parent)
    : QWidget(parent)
    , records([this](qint64 total) { report_records(total); })
{
}

void extractor_frame::set_plugin_helper_obj(plugin_helper_functions *helper)
{
    helper_obj = helper;
}

void extractor_frame::set_record_count(qint64 count)
{
    records.record_count_qint64 = count;
}

void extractor_frame::set_tab_processed_count(int count)
{
    tab_processed_count_int = count;
}

void extractor_frame::set_desktop_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info) {}

void extractor_frame::set_general_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info) {}

void extractor_frame::set_source_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info source_info)
{
    virtual_source_path = source_info.virtual_source_path;
    source_type_internal = source_info.source_type_internal;
    text_field_3 = source_info.text_field_3;
    source_root = evidence_root(virtual_source_path);
    keep_source_info(source_info);
}

void extractor_frame::set_plugin_name(QString name)
{
    plugin_name = name.trimmed();
}

void extractor_frame::set_destination_location(QString result_dir, QString tmp_dir, QString db_file)
{
    artifacts_result_dir = result_dir;
    tmp_dir_path = tmp_dir;
    destination_db_file = db_file;
}

void extractor_frame::set_essential_for_talvo_bench_extraction(QStringList tables)
{
    essential_list_QStringList = tables;
}

void extractor_frame::set_engine_type(int engine_type)
{
    engine_type_int = engine_type;
}

void extractor_frame::set_essentials()
{
    bool_cancel_extraction.set(false);
}

void extractor_frame::cancel_extraction()
{
    bool_cancel_extraction.set(true);
}

void extractor_frame::set_source_count(int count)
{
    source_count_int = count;
}

void extractor_frame::find_artifacts_source()
{
    find_source_file();
}

void extractor_frame::extract_artifacts()
{
    records.elapsed_timer.start();
    extract_plugin_artifacts();
    records.report();
}

void extractor_frame::keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &) {}

void extractor_frame::finish_tab()
{
    ++tab_processed_count_int;
    report_tabs(tab_processed_count_int);
}

bool extractor_frame::selected(QLatin1StringView table) const
{
    return essential_list_QStringList.contains(table);
}
