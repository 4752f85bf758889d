/// The run-wide state: defaults, setters and resets.
#include "common/plugin_static_function.h"

using source_info_record = struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info;
using desktop_info_record = struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info;
using general_info_record = struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info;

int plugin_static_function::type_engine_int = -1;
int plugin_static_function::source_count_int = -1;
cancel_flag plugin_static_function::bool_cancel_extraction;
bool plugin_static_function::debug_mode_status_bool = false;
bool plugin_static_function::debug_print_in_file_bool = false;
bool plugin_static_function::debug_print_on_terminal_bool = false;
bool plugin_static_function::debug_encryption_status_bool = false;
QString plugin_static_function::debug_file_path_QString;
QFile plugin_static_function::debug_file_regular_QFile;
QString plugin_static_function::source_os_version_full;
QList<struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_system_account> plugin_static_function::system_account_QList;

void plugin_static_function::set_essentials()
{
    type_engine_int = -1;
    source_count_int = -1;
    bool_cancel_extraction.set(false);
    debug_mode_status_bool = false;
    debug_print_in_file_bool = false;
    debug_print_on_terminal_bool = false;
    // debug_encryption_status_bool keeps its last value, so that an enciphered log is not continued in plain text.
    debug_file_path_QString.clear();
    system_account_QList.clear();
}

void plugin_static_function::set_engine_type(int engine_type)
{
    type_engine_int = engine_type;
}

void plugin_static_function::set_source_count(int source_count)
{
    source_count_int = source_count;
}

void plugin_static_function::set_cancel_extraction(bool cancelled)
{
    bool_cancel_extraction.set(cancelled);
}

void plugin_static_function::set_general_info(general_info_record general_info)
{
    debug_file_path_QString = general_info.debug_file_path_QString;
    debug_mode_status_bool = general_info.debug_mode_status_bool;
    debug_print_in_file_bool = general_info.debug_print_in_file_bool;
    debug_print_on_terminal_bool = general_info.debug_print_on_terminal_bool;
    debug_encryption_status_bool = general_info.debug_encryption_status_bool;
    open_debug_file();
}

void plugin_static_function::set_desktop_info(desktop_info_record) {}

void plugin_static_function::set_source_info(source_info_record source_info)
{
    source_os_version_full = source_info.os_version_full;
    system_account_QList = source_info.system_account_QList;
}

void plugin_static_function::clear_variables_talvo_and_artifact_common_source_info(source_info_record &source_info)
{
    // The last two texts are kept: they carry over from one source to the next.
    source_info_record cleared;
    cleared.text_field_12 = source_info.text_field_12;
    cleared.text_field_13 = source_info.text_field_13;
    source_info = cleared;
}

void plugin_static_function::clear_variables_talvo_and_artifact_common_desktop_info(desktop_info_record &desktop_info)
{
    desktop_info = {};
}

void plugin_static_function::clear_variables_talvo_and_artifact_common_general_info(general_info_record &general_info)
{
    // The encryption flag stays, as it does in set_essentials.
    general_info_record cleared;
    cleared.debug_encryption_status_bool = general_info.debug_encryption_status_bool;
    general_info = cleared;
}
