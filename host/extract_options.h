/// Options of `gmail_host extract` and of every sub-command that reads sources.
#pragma once

#include "host/sources/staging.h"

#include <QString>
#include <QStringList>

/// Options of every sub-command that reads sources.
struct source_options
{
    QStringList sources;
    QString scheme; ///< recognised from the source when empty
    bool accept_missing_parts = false;
    staging_limits limits;
    int threads = 1; ///< at least 1
    bool json = false;
    bool quiet = false;
};

struct extract_options : source_options
{
    QString result_dir;
    QStringList tables;
    int engine = 0;
    int source_count = 1;
    QString source_type;
    QString scheme_display;
    QString account;
    QString os_version;
    QStringList users; ///< NAME or NAME:DOMAIN
    QString log_file;  ///< "gmail.log" beside the result database when empty
    bool log = true;
    bool encrypt_log = false;
    bool log_on_terminal = false;
    bool clear = false;
    bool append = false;
    QString library; ///< looked for beside the program when empty
    bool hash = true;
    bool rows_only = false; ///< the mail itself is not read
    bool hash_once = false; ///< the second look at the source compares identities
    QString examiner;
    QString case_name;
    QStringList arguments;     ///< as given
    QString working_directory; ///< to which relative arguments refer
};

/// The tables a run can fill, in the order of the result.
[[nodiscard]] inline QStringList artifact_tables()
{
    return {QStringLiteral("messages"), QStringLiteral("attachments"), QStringLiteral("accounts"),
            QStringLiteral("mailbox"), QStringLiteral("cookies")};
}
