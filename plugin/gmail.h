/// The plug-in object, the only one that a host talks to. Hosts include this header.
///
/// A host loads the library, resolves `create_object` and calls the virtual operations below through the object's
/// table of virtual functions; it does not link against the library. The order of these operations is therefore a
/// contract: never insert, remove or reorder one. The two signals are connected by name:
///
///     QObject::connect(plugin, SIGNAL(signal_extracted_records_of_plugin_overall(qint64)), ...);
///     QObject::connect(plugin, SIGNAL(signal_tab_processed_of_plugin_overall(int)), ...);
///
/// Order of calls in a run: essentials (they reset the state), settings, result directory, tables, find, extract,
/// remove temporaries. Everything runs on the calling thread; `pub_cancel_extraction` may come from another. No
/// operation reports a failure: failures are in the debug log only. See docs/host_contract.md.
#pragma once

#include "common/cancel_flag.h"
#include "common/common_records.h"

#include <QFrame>
#include <QStringList>

#include <array>

class extractor_frame;
class gmail_androidos;
class gmail_gtakeoutos;
class gmail_ios_uid;
class gmail_macos;
class gmail_winos;
class ios_uid_backup_parser;
class log_origin;
class plugin_helper_functions;
class Ui_gmail;

/// Marks the plug-in.
class m_gmail
{
public:
    m_gmail() = default;
};

class gmail : public QFrame
{
    Q_OBJECT

public:
    explicit gmail(QWidget *parent);
    ~gmail() override;

    /// 1. The edition that the host is: 0 bench, 1 sweep, 2 probe. Only the bench edition gets rows.
    virtual void pub_set_engine_type(int engine_type);
    /// 2. "Gmail": names the result directory and the result database.
    virtual QString pub_get_artifact_name();
    /// 3. Begin a run: cancel flags and run-wide state go back to their initial values.
    virtual void pub_set_essentials();
    /// 4. The host's number for the source, written into source_count_name of every row.
    virtual void pub_set_source_count(int source_count);
    /// 5. Handed to the iOS extractor; the host still owns it.
    virtual void pub_set_ios_uid_backup_pointer(ios_uid_backup_parser *backup_parser);
    /// 6. Accepted and ignored.
    virtual void pub_set_desktop_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info desktop_info);
    /// 7. The debug-log settings; opens the debug file.
    virtual void pub_set_general_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info general_info);
    /// 8. The evidence source; its os scheme picks the extractor.
    virtual void pub_set_source_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info source_info);
    /// 9. The tables to fill. The second list is ignored.
    virtual void pub_set_essential_for_talvo_bench_extraction(QStringList tables, QStringList ignored);
    /// 10. Where results go; creates the artifact's result directory and its temporary directory.
    virtual void pub_set_result_directory(QString result_dir);
    /// 11. Create the result tables that do not exist yet.
    virtual void pub_create_db_tables();
    /// 12. With true: empty the tables to fill, if the result database exists.
    virtual void pub_set_clear_db(bool clear);
    /// 13. Ask a running extraction to end soon; stays in force until the next `pub_set_essentials`.
    virtual void pub_cancel_extraction();
    /// 14. Locate the artifact's files in the source.
    virtual void pub_find_source_file();
    /// 15. Handed to the macOS extractor.
    virtual void pub_set_extended_attributes_list(QStringList attributes);
    /// 16. Extract; emits the running totals.
    virtual void pub_extract_artifacts();
    /// 17. Does nothing.
    virtual void pub_generate_chat_html_pages();
    /// 18. End a run: remove the temporary directory, close the debug file.
    virtual void pub_remove_temporary_asthetics();

    /// Does the work of slot 3.
    void set_essentials();

Q_SIGNALS:
    // Running totals, not increments.
    void signal_extracted_records_of_plugin_overall(qint64 total);
    void signal_tab_processed_of_plugin_overall(int total);

public Q_SLOTS:
    // They relay the extractors' totals.
    void slot_extracted_records_of_plugin(qint64 total);
    void slot_total_tabs_processed(int total);
    /// Notes that a process has finished; nothing is connected to it.
    void slot_m_process_finished(int ignored);

private:
    template <class Extractor>
    Extractor *add_extractor(const char *records_signal, const char *tabs_signal);
    [[nodiscard]] std::array<extractor_frame *, 5> extractors_in_order() const;
    template <class Operation, class... Values>
    void for_every_extractor(Operation operation, const Values &...values);
    extractor_frame *extractor_of_scheme(const log_origin &origin);

    void set_destination_location(QString result_dir);
    void create_destination_database();
    void create_db_tables();
    void clear_db_tables();

    Ui_gmail *ui;
    bool bool_process_finished = false;
    qint64 records_extracted_qint64 = 0;
    int tabs_processed_int = 0;
    QString tmp_dir_path;
    QString destination_db_file;
    QString artifacts_result_dir;
    int engine_type_int = -1;
    cancel_flag bool_cancel_extraction;
    QString os_scheme_internal;
    QStringList essential_list_QStringList;
    plugin_helper_functions *helper_obj;
    gmail_macos *macos_obj;
    gmail_ios_uid *ios_uid_obj;
    gmail_winos *winos_obj;
    gmail_gtakeoutos *gtakeoutos_obj;
    gmail_androidos *androidos_obj;
};
