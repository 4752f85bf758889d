/// What `gmail_host extract` was asked for.
#pragma once

#include "host/sources/staging.h"

#include <QString>
#include <QStringList>

struct extract_options
{
    QStringList sources;
    QString result_dir;
    QString scheme; ///< found from the source when empty
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
    bool json = false;
    bool quiet = false;
    bool hash = true;
    bool accept_missing_parts = false;
    QString examiner;
    QString case_name;
    staging_limits limits;
    QStringList arguments; ///< as given
};

/// The tables a run can fill, in the order of the result.
[[nodiscard]] inline QStringList artifact_tables()
{
    return {QStringLiteral("messages"), QStringLiteral("attachments"), QStringLiteral("accounts"),
            QStringLiteral("mailbox"), QStringLiteral("cookies")};
}
