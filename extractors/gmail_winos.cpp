#include "extractors/gmail_winos.h"

#include "common/log_line.h"

void gmail_winos::find_source_file()
{
    const log_span span("[find_source_file]---starts", "[find_source_file]---ends");
}

void gmail_winos::extract_plugin_artifacts()
{
    const log_span span("[extract_plugin_artifacts]---starts", "[extract_plugin_artifacts]---ends");
}

void gmail_winos::keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info)
{
    user_QStringList.clear();
    for (const auto &account : source_info.system_account_QList)
        user_QStringList << account.system_user << account.domain_user;
    user_QStringList.removeDuplicates();
    user_QStringList.removeAll(QString());
}
