#include "host/plugin_run.h"

#include "host/evidence.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

using create_function = gmail *(*)();

/// Beside the program in a build tree, in the library directory of an installation.
QStringList default_libraries()
{
    const QString here = QCoreApplication::applicationDirPath();
    return {here + QLatin1StringView("/" GMAIL_LIBRARY_FILE),
            here + QLatin1StringView("/" GMAIL_LIBRARY_FROM_BIN "/" GMAIL_LIBRARY_FILE)};
}

struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info general_record(const extract_options &options)
{
    struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info record;
    record.debug_mode_status_bool = options.log || options.log_on_terminal;
    record.debug_print_on_terminal_bool = options.log_on_terminal;
    record.debug_print_in_file_bool = options.log;
    record.debug_encryption_status_bool = options.encrypt_log;
    record.debug_file_path_QString = options.log_file;
    return record;
}

struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info source_record(const extract_options &options,
                                                                  const evidence &source)
{
    struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info record;
    record.virtual_source_path = source.root;
    record.source_type_internal = options.source_type;
    record.text_field_3 = options.scheme_display;
    record.os_scheme_internal = source.scheme;
    record.os_version_full = options.os_version;
    for (const QString &user : options.users)
        record.system_account_QList.append({user.section(u':', 0, 0), user.section(u':', 1)});
    record.text_field_11 = options.account;
    return record;
}

} // namespace

plugin_run::plugin_run() = default;

plugin_run::~plugin_run() = default;

maybe_refusal plugin_run::load(const QString &path)
{
    const QStringList candidates = path.isEmpty() ? default_libraries() : QStringList(path);
    QString chosen = candidates.first();
    for (const QString &candidate : candidates) {
        if (QFileInfo::exists(candidate)) {
            chosen = candidate;
            break;
        }
    }
    library.setFileName(chosen);
    const auto create_object = reinterpret_cast<create_function>(library.resolve("create_object"));
    if (!create_object)
        return refusal{exit_status::no_library, chosen + QLatin1StringView(": cannot be loaded as the plug-in (") +
                                                    library.errorString() +
                                                    QLatin1StringView("); name it with --library")};
    plugin.reset(create_object());
    connect(plugin.get(), SIGNAL(signal_extracted_records_of_plugin_overall(qint64)), this,
            SLOT(records_changed(qint64)));
    connect(plugin.get(), SIGNAL(signal_tab_processed_of_plugin_overall(int)), this, SLOT(tabs_changed(int)));
    return {};
}

void plugin_run::run(const extract_options &options, const evidence &source)
{
    plugin->pub_set_essentials();
    plugin->pub_set_general_info(general_record(options));
    plugin->pub_set_desktop_info({});
    plugin->pub_set_source_info(source_record(options, source));
    plugin->pub_set_engine_type(options.engine);
    plugin->pub_set_source_count(options.source_count);
    plugin->pub_set_result_directory(options.result_dir);
    plugin->pub_set_essential_for_talvo_bench_extraction(options.tables, {});
    plugin->pub_create_db_tables();
    plugin->pub_set_clear_db(options.clear);
    if (cancelled) // setting the essentials clears an earlier cancel
        plugin->pub_cancel_extraction();
    plugin->pub_find_source_file();
    plugin->pub_extract_artifacts();
    plugin->pub_remove_temporary_asthetics();
}

void plugin_run::cancel()
{
    cancelled = true;
    if (plugin)
        plugin->pub_cancel_extraction();
}

void plugin_run::records_changed(qint64 total)
{
    records = total;
    progress(records, tabs);
}

void plugin_run::tabs_changed(int total)
{
    tabs = total;
    progress(records, tabs);
}
