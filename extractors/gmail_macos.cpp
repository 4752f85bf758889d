#include "extractors/gmail_macos.h"

void gmail_macos::macos_set_extended_attributes_list(QStringList attributes)
{
    extended_attributes_QStringList = attributes;
    filter_extended_attribute_list();
}

void gmail_macos::keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info)
{
    system_user_QStringList.clear();
    for (const auto &account : source_info.system_account_QList)
        system_user_QStringList.append(account.system_user);
    system_user_QStringList.removeDuplicates();
    system_user_QStringList.removeAll(QString());
}
