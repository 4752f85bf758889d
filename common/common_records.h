/// The settings with which a host describes a run and its source.
///
/// They are plain values: a host fills them, passes them by value to the `pub_set_*` operations, and every receiver
/// keeps its own copy. The order of the members is part of the contract between host and library.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/// One user account of a source.
struct struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_system_account
{
    QString system_user; ///< compared with the user component of a path, case-sensitively
    QString domain_user; ///< returned with the name when a path belongs to the account
};

/// One source. The neutrally named fields belong to the host; the comments say which of them are read.
struct struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info
{
    QString virtual_source_path;  ///< root directory of the source's files; must end in "/"
    QString source_type_internal; ///< the source's type; "macOS_Home_Directory" changes how paths are made relative
    QString text_field_3;         ///< the os scheme as displayed; written into os_scheme_display of every row
    QString os_scheme_internal;   ///< "macOS", "iOS_UID", "winOS", "gTakeoutOS" or "androidOS": picks the extractor
    QString os_version_full;      ///< version of the source's operating system
    QList<struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_system_account> system_account_QList; ///< the source's accounts
    QString text_field_7;
    QString text_field_8;
    QStringList list_field_9;
    QString text_field_10;
    QString text_field_11; ///< the Takeout account; written into account_id of every Takeout row
    QString text_field_12;
    QString text_field_13;
};

/// The examiner's machine: accepted but never read.
struct struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_desktop_info
{
    QString text_field_1;
    QString text_field_2;
    bool bool_field_3 = false;
    QString text_field_4;
    QString text_field_5;
};

/// The debug-log settings of a run.
struct struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info
{
    bool bool_general_flag = false; ///< not read
    bool debug_mode_status_bool = false;
    bool debug_print_on_terminal_bool = false;
    bool debug_print_in_file_bool = false;
    bool debug_encryption_status_bool = false; ///< encipher each line of the file
    QString debug_file_path_QString;
};

/// When a file was used, according to its Spotlight metadata. Each text is a number of seconds since the epoch, UTC;
/// empty when unknown.
struct struct_GLOBAL_ARTIFACT_used_dates
{
    QString last_used_date;
    QStringList used_dates_QStringList; ///< in the order of the metadata
    QString first_used_date;            ///< first entry of the list
    QString latest_used_date;           ///< last entry of the list
};

/// The times of a file in seconds since the epoch, UTC; all 0 when the file is missing.
struct struct_posix_timestamp
{
    qint64 birth_time = 0;
    qint64 access_time = 0;
    qint64 modification_time = 0;
};
