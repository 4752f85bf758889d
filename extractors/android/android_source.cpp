#include "extractors/android/android_source.h"

#include "extractors/rows/texts.h"

QString android_source::relative_path(const QString &path) const
{
    return path_below(virtual_source_path, path);
}

QString android_source::source_file_of(const QString &path) const
{
    return source_file_value(virtual_source_path, path, source_type_internal);
}

QString android_source::cached_attachment_path(const QString &attachment_id) const
{
    return relative_path(QString(attachment_cache_dir_path + attachment_id).trimmed());
}

QString android_source::account_of_mail_store(const QString &path)
{
    constexpr QLatin1StringView prefix("mailstore.");
    constexpr QLatin1StringView suffix(".db");
    if (!path.contains(prefix))
        return path;
    QString account = path.sliced(path.indexOf(QLatin1StringView("mailstore"))); // without the dot
    account.remove(prefix);
    if (account.endsWith(suffix))
        account.chop(suffix.size());
    return account;
}

void android_source::forget_paths()
{
    for (QString *path : {&provider_db_path, &warm_accounts_path, &unified_email_path, &body_dir_path,
                          &attachment_cache_dir_path, &cookie_store_path})
        path->clear();
    mail_store_paths.clear();
}
