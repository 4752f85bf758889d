#include "extractors/gmail_androidos.h"

#include "common/log_line.h"
#include "extractors/android/extract_step.h"
#include "extractors/android/step_runner.h"

namespace {

constexpr QLatin1StringView application("apps/com.google.android.gm/");

} // namespace

gmail_androidos::gmail_androidos(QWidget *parent)
    : extractor_frame(parent)
{
}

void gmail_androidos::keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &)
{
    source.virtual_source_path = virtual_source_path;
    source.source_type_internal = source_type_internal;
    source.text_field_3 = text_field_3;
    source.root = source_root;
}

void gmail_androidos::find_source_file()
{
    log_line("[find_source_file] Starts");
    source.forget_paths();

    const QString root = virtual_source_path + application;
    const log_origin origin;
    for (const char *folder : {"", "sp/", "f/", "f/body/", "r/", "r/app_webview/"}) // walks report the others
        evidence_root::report_if_unreadable(root + QLatin1StringView(folder), origin);
    const auto note_mail_store = [this](const evidence_entry &entry) {
        if (entry.name.startsWith(QLatin1StringView("mailstore.")) && entry.name.endsWith(QLatin1StringView(".db")))
            source.mail_store_paths.append(entry.path());
    };
    if (!source_root.walk(root + QLatin1StringView("db/"), bool_cancel_extraction, origin, note_mail_store))
        return;

    const std::pair<QString &, QLatin1StringView> fixed_paths[] = {
        {source.provider_db_path, QLatin1StringView("db/EmailProvider.db")},
        {source.warm_accounts_path, QLatin1StringView("sp/warm_accounts_preferences.xml")},
        {source.unified_email_path, QLatin1StringView("sp/UnifiedEmail.xml")},
        {source.body_dir_path, QLatin1StringView("f/body/0/")},
        {source.cookie_store_path, QLatin1StringView("r/app_webview/Cookies")},
        {source.attachment_cache_dir_path, QLatin1StringView("db/1.db_att/")},
    };
    for (const auto &[path, relative] : fixed_paths) {
        if (source_root.has(root + relative, origin))
            path = root + relative;
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
        for (const step run_step : selected_tab.steps) // the steps check for a cancel
            (this->*run_step)();
        records.report();
        finish_tab();
    }
}

step_runner gmail_androidos::runner()
{
    return {source, destination_db_file, *helper_obj, bool_cancel_extraction, records};
}

// ---- Steps: `{}` is the function's own log_origin ------------------------------------------------------------------

void gmail_androidos::extract_gm_mails()
{
    runner().run_on_provider(mail_step, {});
}

void gmail_androidos::extract_gm_other_account_mails()
{
    runner().run_on_every_mail_store(store_mail_step, {});
}

void gmail_androidos::extract_gm_attachments()
{
    runner().run_on_provider(attachment_step, {});
}

void gmail_androidos::extract_gm_other_account_attachments()
{
    runner().run_on_every_mail_store(store_attachment_step, {});
}

void gmail_androidos::extract_gm_mailboxes()
{
    runner().run_on_provider(mailbox_step, {});
}

void gmail_androidos::extract_gm_accounts()
{
    runner().run_on_provider(account_step, {});
}

void gmail_androidos::extract_gm_cookies()
{
    runner().run_on_file(cookie_step, source.cookie_store_path, {});
}
