/// The services and the run-wide state that every part of the library shares.
///
/// Everything in the class is static. It is one class because its name is part of the signature texts in log lines and
/// connection names. Each section below has a source file of its own (plugin_static_function_<section>.cpp).
///
/// A failure shows only as an empty or false result and as lines in the debug log; nothing throws. Nothing is locked:
/// calls come from the host's thread; only `set_cancel_extraction` may come from another one.
#pragma once

#include "common/cancel_flag.h"
#include "common/common_records.h"

#include <QFile>
#include <QPair>
#include <QStringList>
#include <QWidget>

Q_FORWARD_DECLARE_OBJC_CLASS(NSDate);
Q_FORWARD_DECLARE_OBJC_CLASS(NSObject);
class QDateTime;
class QSqlDatabase;

class plugin_static_function : public QWidget
{
    Q_OBJECT

public:
    // ---- State ------------------------------------------------------------------------------------------------------

    static int type_engine_int;                ///< 0 bench, 1 sweep, 2 probe edition; -1 not set
    static int source_count_int;               ///< the host's number for the source; -1 not set
    static cancel_flag bool_cancel_extraction; ///< polled by every loop of the services
    static bool debug_mode_status_bool;        ///< the debug log is on
    static bool debug_print_in_file_bool;
    static bool debug_print_on_terminal_bool;
    static bool debug_encryption_status_bool; ///< `set_essentials` does not change it
    static QString debug_file_path_QString;
    static QFile debug_file_regular_QFile;
    static QString source_os_version_full;
    static QList<struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_system_account> system_account_QList;

    /// Reset the run-wide state to its initial values, except the encryption flag, the open debug file and the OS
    /// version.
    static void set_essentials();

    static void set_engine_type(int engine_type);
    static void set_source_count(int source_count);
    static void set_cancel_extraction(bool cancelled);

    /// Take over the debug-log settings and open the debug file when they ask for one. A file that cannot be opened is
    /// not reported; the log is then not written to a file.
    static void set_general_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info general_info);

    /// Accepted and ignored.
    static void set_desktop_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info desktop_info);

    /// Keep the source's OS version and its accounts (replacing the previous ones).
    static void set_source_info(struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info source_info);

    /// Clear settings in place. The source settings keep their last two texts, the log settings their encryption flag.
    static void clear_variables_talvo_and_artifact_common_source_info(
        struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info);
    static void clear_variables_talvo_and_artifact_common_desktop_info(
        struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info &desktop_info);
    static void clear_variables_talvo_and_artifact_common_general_info(
        struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info &general_info);

    // ---- Log --------------------------------------------------------------------------------------------------------

    /// Write one line to the debug log: `message` in the name of the function whose full signature text is
    /// `function_info`. Nothing happens while the log is off. Code of the library calls `log_line` (log_line.h), which
    /// costs next to nothing then.
    static void app_debug(QString message, QString function_info);

    /// Open the debug file for appending, when the log is on and goes to a file.
    static void open_debug_file();

    /// Flush and close the debug file, if it is open.
    static void close_debug_file();

    /// `text` enciphered as Base64 (see encryptor_string.h); empty for an empty text. `function_info` is not used.
    static QString encrypt_string(QString text, QString function_info);

    // ---- Database ---------------------------------------------------------------------------------------------------
    //
    // Each helper runs one SQL statement, on the SQLite file at a path or on a connection that the caller has opened,
    // which stays open. Bind values are bound as texts, in order, to "?" placeholders. `caller` is the calling
    // function's signature text; it appears in the log lines that a failure leaves. A missing file is created by the
    // driver, as an empty database.
    //
    // A helper with a path opens a connection and closes it. Those that execute or list tables leave it registered,
    // closed, under a name made of both functions' signatures; the others name it by the clock and remove it. A cancel
    // ends a helper between two values or rows. One with a path then leaves its connection open (the one that lists
    // tables closes it); those named by the clock are never closed.

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
    /// False on failure, also when `value` was found before an error.
    static bool check_value_existence_in_db_by_dbreference(QString command, int column_index, QString value,
                                                           QSqlDatabase db);

    /// The names of the file's tables, without views and system tables; empty when it cannot be opened or its schema
    /// cannot be read to the end.
    static QStringList get_total_tables_list_by_dbpath(QString db_path, QString caller);

    // ---- Paths ------------------------------------------------------------------------------------------------------

    /// Copy a directory with everything in it, hidden files included; existing files are overwritten. Symbolic links
    /// to files are copied as files; those to directories are not copied, as they could lead in a circle, and each is a
    /// failure. Failures are logged, one per file or link.
    static void copy_directory(QString source_dir, QString destination_dir);

    /// Remove a directory with everything in it. Symbolic links are removed, never followed; no permission is changed.
    /// Entries that cannot be removed stay, with the directories they are in. A missing directory and an empty path do
    /// nothing.
    static void remove_directory(QString dir);

    /// The entries of `parent_list`, in order, that `other_list` does not contain.
    static QStringList get_unmatched_varible_list_of_parentlist(QStringList parent_list, QStringList other_list);

    /// A bare file name that is free in `destination_dir` (created when missing): the name of `source_file`, else that
    /// name after "1_", "2_", and so on. Empty when the run is cancelled. `caller` is not used.
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

    /// The source's OS version, cut at its first "." for "iOS" and "winOS", and for "macOS" unless it begins with the
    /// two characters "10". Any other word ("iOS_UID" too) gives the full version.
    static QString get_source_os_scan_version(QString os_scheme);

    // ---- Time -------------------------------------------------------------------------------------------------------
    //
    // Times are returned as decimal texts of whole seconds since 1970-01-01 00:00:00 UTC, fractions cut off; an empty
    // text means no time. A date text that does not have the layout of its function gives "0", whether or not it has an
    // offset. Names of months and days are English. Texts are trimmed first and a blank text gives an empty result,
    // unless said otherwise.

    static QString convert_apple_time_to_epoch(QString seconds_since_2001); ///< a 32-bit count; "0" gives ""

    /// Not trimmed. Microseconds since 1601; a text of 10 characters is seconds since the epoch already; "0" gives "".
    static QString convert_google_time_to_epoch(QString microseconds_since_1601);

    /// "Jan 5, 2015, 10:11:12 AM UTC"; without "UTC" after it the time is this machine's local time.
    static QString convert_human_readable_to_epoch_1(QString date);
    /// "2015-01-05 10:11:12.000 +0530". Without a "." the last character is cut off; "" without an offset.
    static QString convert_human_readable_to_epoch_2(QString date);
    /// "Mon, 05 Jan 2015 10:11:12 +0000". The zone is cut off and ignored.
    static QString convert_human_readable_to_epoch_3(QString date);
    /// "20150105", "20150105T101112", "20150105T101112Z", "2015-01-05T10-11-12", "2015-01-05 10:11:12.000".
    static QString convert_T_Z_time_to_epoch(QString date);

    /// Seconds in "hhmm"; not trimmed, unreadable digits are 0.
    static int convert_timezone_to_seconds(QString hours_and_minutes);

    /// "dd-MMM-yyyy hh:mm:ss" in UTC; empty for 0 and for anything but a 32-bit number.
    static QString convert_timestamp_to_human_readable_in_UTC(QString seconds_since_epoch);

    /// "01:00:00 Hrs" or "00:59 Min"; empty for a negative count.
    static QString get_human_readable_time(QString seconds);

    /// An ISO 8601 date, also with a blank before its offset; invalid when it cannot be read.
    static QDateTime get_datetime_from_string_with_iso_date(QString date);

    /// The times of root + file path; zeros when it does not exist or an argument is blank.
    static struct_posix_timestamp get_posix_timestamp(QString file_path, QString root_path);

    // ---- Values -----------------------------------------------------------------------------------------------------

    /// "512 B", "1.50 KB", "3.25 MB". There is no larger unit; from 2^63 on the result is a negative number of bytes.
    static QString human_readable_size(QString bytes);

    /// The text after the last "." of the file name; empty for a name whose only dot is its first character.
    static QString mining_suffix(QString path);

    /// Bytes of a file, or of all files below a folder (links not counted); empty when the path does not exist. A
    /// cancelled walk gives the size of the folder's own entry.
    static QString mining_size(QString path);

    /// The trimmed text with every "\U" and the up to four characters after it (fewer at the end) replaced by the
    /// UTF-16 unit that they are in hexadecimal: "\U41" at the end is "A". Anything but a hexadecimal number becomes
    /// the character 0. Empty when cancelled.
    static QString convert_string_to_unicode(QString text);

    // The bare value from the description of a property-list value, such as "<CFBoolean 0x1 [0x2]>{value = true}".
    // Empty when a piece of the description is missing.

    static QString get_filtered_number_value(QString description);  ///< between the first "+" and the first ","
    static QString get_filtered_boolean_value(QString description); ///< after "]>{" and "=", without the last character
    static QString get_filtered_cfstring_value(QString description);  ///< likewise, without double quotes
    static QString get_filtered_string_value(QString description);    ///< items of a list, joined by ";"
    static QString get_filtered_wherefrom_value(QString description); ///< origins of a download, one per line
    static QString get_filtered_date_value(QString description);      ///< epoch text; empty before 1973-03-03

    // ---- Properties -------------------------------------------------------------------------------------------------
    //
    // Single values from property-list dictionaries and file metadata of macOS. Keys and dictionaries are objects of
    // the platform (platform/property_objects.h); the key comes first. A missing key or a value of another class gives
    // an empty text. Texts are trimmed, numbers cut towards zero. A label is put before its value, with ":+:" between
    // them.

    static QString convert_cfstring_to_qstring(const void *cfstring);
    static QString get_nsstring_values(void *key, void *dictionary);
    static QString get_nsnumber_values(void *key, void *dictionary);
    static QString get_nsnumber_values_yes_no(void *key, void *dictionary); ///< "YES" or "NO", for booleans only
    static QString get_nsstring_key_and_values(void *key, void *dictionary, QString label);
    static QString get_nsnumber_key_and_values(void *key, void *dictionary, QString label);
    static QString get_nsnumber_key_and_value_yes_no(void *key, void *dictionary, QString label); ///< for all numbers
    static QString get_nsarray_key_and_values(void *key, void *dictionary, QString label); ///< items joined by ";"

    /// When a file was used, from its Spotlight metadata or the extended attributes that carry them.
    static struct_GLOBAL_ARTIFACT_used_dates extract_used_date(QString file_path);

    /// Seconds of the date's local wall-clock time read as UTC; 0 when `object` is not a date.
    static qint64 convert_nsdate_to_epoch(NSDate *date, NSObject *object);
};
