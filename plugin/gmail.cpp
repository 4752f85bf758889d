/// The plug-in object: passes every setting on, picks the extractor that runs, relays its progress.
#include "plugin/gmail.h"

#include "common/log_line.h"
#include "common/plugin_helper_functions.h"
#include "common/plugin_static_function.h"
#include "extractors/gmail_androidos.h"
#include "extractors/gmail_gtakeoutos.h"
#include "extractors/gmail_ios_uid.h"
#include "extractors/gmail_macos.h"
#include "extractors/gmail_winos.h"
#include "ui_gmail.h"

#include <functional>
#include <new>

gmail::gmail(QWidget *parent)
    : QFrame(parent)
    , ui(new Ui_gmail)
{
    ui->setupUi(this);
    macos_obj = add_extractor<gmail_macos>(SIGNAL(signal_extracted_records_of_plugin_macos(qint64)),
                                           SIGNAL(signal_total_tabs_processed_macos(int)));
    ios_uid_obj = add_extractor<gmail_ios_uid>(SIGNAL(signal_extracted_records_of_plugin_ios_uid(qint64)),
                                               SIGNAL(signal_total_tabs_processed_ios_uid(int)));
    winos_obj = add_extractor<gmail_winos>(SIGNAL(signal_extracted_records_of_plugin_winos(qint64)),
                                           SIGNAL(signal_total_tabs_processed_winos(int)));
    gtakeoutos_obj = add_extractor<gmail_gtakeoutos>(SIGNAL(signal_extracted_records_of_plugin_gtakeoutos(qint64)),
                                                     SIGNAL(signal_total_tabs_processed_gtakeoutos(int)));
    androidos_obj = add_extractor<gmail_androidos>(SIGNAL(signal_extracted_records_of_plugin_androidos(qint64)),
                                                   SIGNAL(signal_total_tabs_processed_androidos(int)));
    helper_obj = new plugin_helper_functions(this);
}

gmail::~gmail()
{
    delete ui; // extractors and helper are children
}

template <class Extractor>
Extractor *gmail::add_extractor(const char *records_signal, const char *tabs_signal)
{
    auto *extractor = new Extractor(this);
    connect(extractor, records_signal, this, SLOT(slot_extracted_records_of_plugin(qint64)));
    connect(extractor, tabs_signal, this, SLOT(slot_total_tabs_processed(int)));
    return extractor;
}

/// Order in which settings are passed on and schemes are matched.
std::array<extractor_frame *, 5> gmail::extractors_in_order() const
{
    return {macos_obj, ios_uid_obj, winos_obj, gtakeoutos_obj, androidos_obj};
}

/// Every extractor gets its own copy of the values.
template <class Operation, class... Values>
void gmail::for_every_extractor(Operation operation, const Values &...values)
{
    for (extractor_frame *extractor : extractors_in_order())
        std::invoke(operation, extractor, values...);
}

/// The extractor that the source's scheme names, exactly and case-sensitively; null, and a failure in the log, when
/// there is none.
extractor_frame *gmail::extractor_of_scheme(const log_origin &origin)
{
    for (extractor_frame *extractor : extractors_in_order()) {
        if (os_scheme_internal == extractor->os_scheme())
            return extractor;
    }
    log_line({"------FAILED------- supported os scheme internal not matched, received os scheme internal =  ", origin},
             os_scheme_internal, u", plugin name is ", pub_get_artifact_name());
    return nullptr;
}

void gmail::pub_set_engine_type(int engine_type)
{
    engine_type_int = engine_type;
    plugin_static_function::set_engine_type(engine_type);
    for_every_extractor(&extractor_frame::set_engine_type, engine_type);
    for_every_extractor(&extractor_frame::set_plugin_name, pub_get_artifact_name());
}

QString gmail::pub_get_artifact_name()
{
    return QObject::tr("Gmail");
}

void gmail::pub_set_essentials()
{
    set_essentials();
}

void gmail::set_essentials()
{
    bool_cancel_extraction.set(false);
    plugin_static_function::set_essentials();
    helper_obj->set_essentials();
    for_every_extractor(&extractor_frame::set_essentials);
}

void gmail::pub_set_source_count(int source_count)
{
    for_every_extractor(&extractor_frame::set_source_count, source_count);
    plugin_static_function::set_source_count(source_count);
}

void gmail::pub_set_ios_uid_backup_pointer(ios_uid_backup_parser *backup_parser)
{
    ios_uid_obj->ios_uid_set_ios_backup_pointer(backup_parser);
}

void gmail::pub_set_desktop_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info desktop_info)
{
    plugin_static_function::set_desktop_info(desktop_info);
    for_every_extractor(&extractor_frame::set_desktop_info, desktop_info);
}

void gmail::pub_set_general_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info general_info)
{
    plugin_static_function::set_general_info(general_info);
    for_every_extractor(&extractor_frame::set_general_info, general_info);
}

void gmail::pub_set_source_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info source_info)
{
    os_scheme_internal = source_info.os_scheme_internal;
    plugin_static_function::set_source_info(source_info);
    helper_obj->set_source_root(evidence_root(source_info.virtual_source_path));
    for_every_extractor(&extractor_frame::set_source_info, source_info);
}

void gmail::pub_set_essential_for_talvo_bench_extraction(QStringList tables, QStringList)
{
    essential_list_QStringList = tables;
    for_every_extractor(&extractor_frame::set_essential_for_talvo_bench_extraction, tables);
}

void gmail::pub_set_result_directory(QString result_dir)
{
    set_destination_location(result_dir);
}

void gmail::pub_create_db_tables()
{
    create_destination_database();
}

void gmail::pub_set_clear_db(bool clear)
{
    if (clear)
        clear_db_tables();
}

void gmail::pub_cancel_extraction()
{
    bool_cancel_extraction.set(true);
    plugin_static_function::set_cancel_extraction(true);
    helper_obj->set_cancel_extraction(true);
    for_every_extractor(&extractor_frame::cancel_extraction);
}

void gmail::pub_find_source_file()
{
    if (extractor_frame *extractor = extractor_of_scheme({}))
        extractor->find_artifacts_source();
}

void gmail::pub_set_extended_attributes_list(QStringList attributes)
{
    macos_obj->macos_set_extended_attributes_list(attributes);
}

void gmail::pub_extract_artifacts()
{
    log_line("[pub_extract_artifacts] - START");
    Q_EMIT signal_extracted_records_of_plugin_overall(0);
    // The totals continue from the previous run.
    for_every_extractor(&extractor_frame::set_plugin_helper_obj, helper_obj);
    for_every_extractor(&extractor_frame::set_record_count, records_extracted_qint64);
    for_every_extractor(&extractor_frame::set_tab_processed_count, tabs_processed_int);
    if (extractor_frame *extractor = extractor_of_scheme({})) {
        if (bool_cancel_extraction.is_set())
            return; // without the final signal and line
        try {
            extractor->extract_artifacts();
        } catch (const std::bad_alloc &) { // uncaught, it would take the host down
            log_line("[pub_extract_artifacts] ----FAILED---- not enough memory: the extraction breaks off");
        }
    }
    Q_EMIT signal_extracted_records_of_plugin_overall(records_extracted_qint64);
    log_line("[pub_extract_artifacts] - END");
}

void gmail::pub_generate_chat_html_pages() {}

void gmail::pub_remove_temporary_asthetics()
{
    plugin_static_function::remove_directory(tmp_dir_path);
    plugin_static_function::close_debug_file();
}

void gmail::slot_extracted_records_of_plugin(qint64 total)
{
    records_extracted_qint64 = total;
    Q_EMIT signal_extracted_records_of_plugin_overall(total);
}

void gmail::slot_total_tabs_processed(int total)
{
    tabs_processed_int = total;
    Q_EMIT signal_tab_processed_of_plugin_overall(total);
}

void gmail::slot_m_process_finished(int)
{
    bool_process_finished = true;
}
