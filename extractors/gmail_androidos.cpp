/// Android: discovery, run order, the two shared readers.
#include "extractors/gmail_androidos.h"

#include "common/warm_accounts.h"
#include "extractors/android/extract_step.h"

#include <QFile>
#include <QSqlError>
#include <QVariant>

namespace {

constexpr QLatin1StringView application("apps/com.google.android.gm/");

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
    for (const char *folder : {"", "sp/", "f/", "f/body/", "r/", "r/app_webview/"}) // the others are walked
        evidence_root::report_if_unreadable(root + QLatin1StringView(folder), origin);
    const auto note_mail_store = [this](const evidence_entry &entry) {
        if (entry.name.startsWith(QLatin1StringView("mailstore.")) && entry.name.endsWith(QLatin1StringView(".db")))
            mail_store_paths.append(entry.path());
    };
    if (!source_root.walk(root + QLatin1StringView("db/"), bool_cancel_extraction, origin, note_mail_store))
        return;

    const std::pair<QString &, QLatin1StringView> fixed_paths[] = {
        {provider_db_path, QLatin1StringView("db/EmailProvider.db")},
        {warm_accounts_path, QLatin1StringView("sp/warm_accounts_preferences.xml")},
        {unified_email_path, QLatin1StringView("sp/UnifiedEmail.xml")},
        {body_dir_path, QLatin1StringView("f/body/0/")},
        {cookie_store_path, QLatin1StringView("r/app_webview/Cookies")},
        {attachment_cache_dir_path, QLatin1StringView("db/1.db_att/")},
    };
    for (const auto &[member, relative] : fixed_paths) {
        if (source_root.has(root + relative, origin))
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
    if (const QString refusal = source.prepare(query, statement); !refusal.isEmpty()) {
        log_failed_query({}, refusal, statement, origin);
        return none;
    }
    if (!query.exec()) {
        log_failed_query(query, {}, origin);
        return none;
    }
    if (query.next())
        return columns::text_of(query.value(0));
    if (query.lastError().isValid())
        log_failed_query(query, {}, origin);
    return none;
}

QStringList gmail_androidos::extract_last_warmup_accounts() const
{
    if (warm_accounts_path.isEmpty())
        return {};
    QFile file(warm_accounts_path);
    if (const QString error = source_root.open(file); !error.isEmpty()) {
        log_line(" File Open Failed:", warm_accounts_path);
        log_line("", error);
        return {};
    }
    const auto accounts = warm_accounts::read_from(file);
    if (!accounts)
        log_line("[extract_last_warmup_accounts] ----FAILED---- too large or too many attributes: ",
                 warm_accounts_path);
    return accounts.value_or(QStringList());
}
