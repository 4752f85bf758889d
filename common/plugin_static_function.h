/// The services and the run-wide state that every part of the library shares.
///
/// The class is never instantiated for its own sake: everything in it is static. It is one class because its name is
/// part of the signature texts that log lines and connection names carry. Each chapter below has a source file of its
/// own (plugin_static_function_<chapter>.cpp).
///
/// Nothing here throws or reports a failure other than by an empty or false result and lines in the debug log.
/// Nothing locks: calls come from the host's thread; only `set_cancel_extraction` may come from another one.
#pragma once

#include "common/common_records.h"

#include <QFile>
#include <QPair>
#include <QStringList>
#include <QWidget>

class QSqlDatabase;

class plugin_static_function : public QWidget
{
    Q_OBJECT

public:
    // ---- State ------------------------------------------------------------------------------------------------------

    static int type_engine_int;         ///< 0 bench, 1 sweep, 2 probe edition; -1 not set
    static int source_count_int;        ///< the host's number of the source; -1 not set
    static bool bool_cancel_extraction; ///< polled by every loop of the services
    static bool debug_mode_status_bool; ///< the debug log is on
    static bool debug_print_in_file_bool;
    static bool debug_print_on_terminal_bool;
    static bool debug_encryption_status_bool; ///< keeps its value over `set_essentials`
    static QString debug_file_path_QString;
    static QFile debug_file_regular_QFile;
    static QString source_os_version_full;
    static QList<struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_system_account> system_account_QList;

    /// Put the run-wide state back to its initial values; the encryption flag, the open debug file and the OS version
    /// are left alone.
    static void set_essentials();

    static void set_engine_type(int engine_type);
    static void set_source_count(int source_count);
    static void set_cancel_extraction(bool cancelled);

    /// Take over the debug-log settings and open the debug file when they ask for one. A file that cannot be opened is
    /// not reported: the file output is then lost.
    static void set_general_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info general_info);

    /// Accepted and ignored.
    static void set_desktop_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info desktop_info);

    /// Keep the source's OS version and its accounts (replacing the previous ones).
    static void set_source_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info source_info);

    /// Empty a record in place. The source record keeps its last two texts, the general record its encryption flag.
    static void clear_variables_talvo_and_artifact_common_source_info(
        struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info);
    static void clear_variables_talvo_and_artifact_common_desktop_info(
        struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info &desktop_info);
    static void clear_variables_talvo_and_artifact_common_general_info(
        struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info &general_info);

    // ---- Log --------------------------------------------------------------------------------------------------------

    /// Write one line to the debug log: `message` in the name of the function whose full signature text is
    /// `function_info`. Nothing happens while the log is off. Code of the library calls `log_line` (log_line.h), which
    /// costs nothing then.
    static void app_debug(QString message, QString function_info);

    /// Open the debug file for appending, when the log is on and goes to a file.
    static void open_debug_file();

    /// Flush and close the debug file, if it is open.
    static void close_debug_file();

    /// `text` enciphered as Base64 (see encryptor_string.h); empty for an empty text. `function_info` is not used.
    static QString encrypt_string(QString text, QString function_info);

    // ---- Database ---------------------------------------------------------------------------------------------------
    //
    // Each helper runs one SQL statement, on the SQLite file at a path (opened and closed by the helper) or on a
    // connection that the caller has opened. Bind values are bound as texts, in order, to "?" placeholders. `caller`
    // is the calling function's signature text; it appears in the log lines that a failure leaves. A missing file is
    // created by the driver, as an empty database. A cancelled run ends a helper between two values or rows.

    /// True when the statement was executed.
    static bool execute_db_command_by_dbpath(QString command, QString db_path, QString caller);
    static bool execute_db_command_with_addbindvalue_by_dbpath(QString command, QStringList bind_values,
                                                               QString db_path, QString caller);
    static bool execute_db_command_by_dbreference(QString command, QSqlDatabase &db, QString caller);
    static bool execute_db_command_with_addbindvalue_by_dbreference(QString command, QStringList bind_values,
                                                                    QSqlDatabase &db, QString caller);

    /// The trimmed texts of one column (0 is the first), one entry per row, "" for NULL. Empty on failure, never
    /// partial; the rows read so far when the run is cancelled.
    static QStringList get_stringlist_from_db_by_dbpath(QString command, int column_index, QString db_path,
                                                        QString caller);
    static QStringList get_stringlist_from_db_with_addbindvalues_by_dbpath(QString command, QStringList bind_values,
                                                                           int column_index, QString db_path,
                                                                           QString caller);
    static QStringList get_stringlist_from_db_by_dbreference(QString command, int column_index, QSqlDatabase &db,
                                                             QString caller);
    static QStringList get_stringlist_from_db_with_addbindvalues_by_dbreference(QString command,
                                                                                QStringList bind_values,
                                                                                int column_index, QSqlDatabase &db,
                                                                                QString caller);

    /// True when the trimmed `value` occurs, case-sensitively, among the trimmed texts of the column. `db` is open.
    static bool check_value_existence_in_db_by_dbreference(QString command, int column_index, QString value,
                                                           QSqlDatabase db);

    /// The names of the file's tables, without views and system tables; empty when it cannot be opened.
    static QStringList get_total_tables_list_by_dbpath(QString db_path, QString caller);

    // ---- Paths ------------------------------------------------------------------------------------------------------

    /// Copy a directory with everything in it, hidden files included; existing files are overwritten. Symbolic links
    /// to directories are passed over (a link could lead in a circle). Failures are logged per file.
    static void copy_directory(QString source_dir, QString destination_dir);

    /// Remove a directory with everything in it. Symbolic links are removed, never followed; a missing directory and
    /// an empty path do nothing. Failures are not reported.
    static void remove_directory(QString dir);

    /// The entries of `parent_list`, in order, that `other_list` does not contain.
    static QStringList get_unmatched_varible_list_of_parentlist(QStringList parent_list, QStringList other_list);

    /// A bare file name that is free in `destination_dir` (created when missing): the name of `source_file`, else that
    /// name behind "1_", "2_", and so on. Empty when the run is cancelled. `caller` is not used.
    static QString get_available_file(QString source_file, QString destination_dir, QString caller);

    /// True when an entry directly inside `dir` has this name, both trimmed. `caller` is not used.
    static bool is_file_exist_in_dir(QString dir, QString file_name, QString caller);

    // Paths of a source. With the path kind "macOS_Home_Directory" the user component is replaced, or the root
    // removed; with every kind a result that is not blank begins with "/".

    static QString get_complete_file_path(QString path, QString user_name, QString path_kind);
    static QString get_relative_file_path(QString path, QString root, QString path_kind);

    /// The relative path and, for "macOS_Home_Directory" only, the path as given.
    static QPair<QString, QString> get_final_artifact_source_file(QString path, QString root, QString path_kind);

    /// The account that the path below `prefix` (cut off by length, not compared) belongs to. Empty when the source
    /// has no accounts or the path no user component.
    static struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_system_account extract_user_name_from_sourcefile(QString path,
                                                                                                    QString prefix);

    /// "Source" and the source count, as written into source_count_name of every row.
    static QString get_source_count_name();

    /// The source's OS version as far as it tells one scan from another. The scheme words are "macOS", "iOS" and
    /// "winOS"; any other word ("iOS_UID" too) gives the full version.
    static QString get_source_os_scan_version(QString os_scheme);
};
