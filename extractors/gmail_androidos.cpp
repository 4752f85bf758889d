/// Android: discovery, run order, the two shared readers.
#include "extractors/gmail_androidos.h"

#include "extractors/android/bounded_query.h"
#include "extractors/android/extract_step.h"
#include "extractors/android/warm_accounts.h"

#include <QDirIterator>
#include <QFile>
#include <QSqlError>
#include <QVariant>

namespace {

constexpr QLatin1StringView application("apps/com.google.android.gm/");

/// Preferences are read at once. A device writes some hundred bytes.
constexpr qint64 most_bytes_of_preferences = 64 * 1024 * 1024;

} // namespace

gmail_androidos::gmail_androidos(QWidget *parent)
    : extractor_frame(parent)
{
}

void gmail_androidos::find_source_file()
{
    log_line("[find_source_file] Starts");
    for (QString *path : {&provider_db_path, &warm_accounts_path, &body_dir_path, &unified_email_path,
                          &attachment_cache_dir_path, &cookie_store_path})
        path->clear();
    mail_store_paths.clear();

    const QString root = virtual_source_path + application;
    const log_origin origin;
    for (const char *folder : {"", "sp/", "f/", "f/body/", "r/", "r/app_webview/", "db/"}) // f/body/0/ is walked later
        evidence_root::tell_unreadable(QFileInfo(root + QLatin1StringView(folder)), origin);
    QDirIterator entries(root + QLatin1StringView("db/"), QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        if (bool_cancel_extraction)
            return;
        const QString path = entries.next();
        const QString name = entries.fileName();
        evidence_root::tell_unreadable(entries.fileInfo(), origin);
        if (name.startsWith(QLatin1StringView("mailstore.")) && name.endsWith(QLatin1StringView(".db")) &&
            source_root.holds(path, {}))
            mail_store_paths.append(path);
    }

    const std::pair<QString &, QLatin1StringView> fixed_paths[] = {
        {provider_db_path, QLatin1StringView("db/EmailProvider.db")},
        {warm_accounts_path, QLatin1StringView("sp/warm_accounts_preferences.xml")},
        {unified_email_path, QLatin1StringView("sp/UnifiedEmail.xml")},
        {body_dir_path, QLatin1StringView("f/body/0/")},
        {cookie_store_path, QLatin1StringView("r/app_webview/Cookies")},
        {attachment_cache_dir_path, QLatin1StringView("db/1.db_att/")},
    };
    for (const auto &[member, relative] : fixed_paths) {
        if (QFile::exists(root + relative) && source_root.holds(root + relative, {}))
            member = root + relative;
    }
    log_line("[find_source_file] Ends");
}

void gmail_androidos::extract_plugin_artifacts()
{
    using step = void (gmail_androidos::*)();
    struct tab
    {
        QLatin1StringView name;
        std::initializer_list<step> steps;
    };
    static const tab tabs[] = {
        {QLatin1StringView("messages"),
         {&gmail_androidos::extract_gm_mails, &gmail_androidos::extract_gm_other_account_mails}},
        {QLatin1StringView("attachments"),
         {&gmail_androidos::extract_gm_attachments, &gmail_androidos::extract_gm_other_account_attachments}},
        {QLatin1StringView("mailbox"), {&gmail_androidos::extract_gm_mailboxes}},
        {QLatin1StringView("accounts"), {&gmail_androidos::extract_gm_accounts}},
        {QLatin1StringView("cookies"), {&gmail_androidos::extract_gm_cookies}},
    };

    const log_span span("[extract_plugin_artifacts] starts", "[extract_plugin_artifacts] ends");
    if (engine_type_int != 0)
        return;
    for (const tab &selected_tab : tabs) {
        if (!selected(selected_tab.name))
            continue;
        for (const step run_step : selected_tab.steps) // a cancel is seen by the steps, not here
            (this->*run_step)();
        report_records(record_count_qint64);
        finish_tab();
    }
}

/// The address of the provider database's first account: a null text when it is NULL, an empty one when there is no
/// account.
QString gmail_androidos::get_gmail_account_id()
{
    const log_origin origin;
    const QString none = QStringLiteral("");
    const QString copy = working_copy_of(provider_db_path);
    if (copy.isEmpty())
        return none;
    const source_database source(origin, copy);
    if (!source.is_open()) {
        log_line(" Source Db opening ---FAILED----");
        log_line("", source.connection().lastError().text());
        log_line("", copy);
        return none;
    }
    QSqlQuery query(source.connection());
    query.setForwardOnly(true);
    const QString statement = QStringLiteral("Select emailAddress from Account");
    QString refusal = why_not_prepared(source.connection(), QStringLiteral("Account"));
    if (refusal.isEmpty() && query.prepare(statement))
        refusal = why_refused(source.connection(), QStringLiteral("Account"), statement);
    if (!refusal.isEmpty()) {
        log_failed_query({}, refusal, statement, origin);
        return none;
    }
    if (!query.exec()) {
        log_failed_query(query, {}, origin);
        return none;
    }
    return query.next() ? columns::text_of(query.value(0)) : none;
}

QStringList gmail_androidos::extract_last_warmup_accounts() const
{
    if (warm_accounts_path.isEmpty())
        return {};
    QFile file(warm_accounts_path);
    const bool is_regular = is_regular_file(warm_accounts_path);
    if (!is_regular || !file.open(QIODevice::ReadOnly)) {
        log_line(" File Open Failed:", warm_accounts_path);
        log_line("", is_regular ? file.errorString() : QStringLiteral("Not a regular file"));
        return {};
    }
    const bool fits = file.size() <= most_bytes_of_preferences;
    const auto accounts = fits ? lastly_warmed_up_accounts(file.read(most_bytes_of_preferences)) : std::nullopt;
    if (!accounts)
        log_line("[extract_last_warmup_accounts] ----FAILED---- too large or too many attributes: ",
                 warm_accounts_path);
    return accounts.value_or(QStringList());
}
