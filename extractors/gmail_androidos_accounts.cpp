/// Android: mailboxes, accounts and the web view's cookies.
#include "extractors/android/extract_step.h"
#include "extractors/gmail_androidos.h"

namespace {

constexpr column mailbox_columns[] = {
    columns::text("displayName"), columns::text("serverId"),
    columns::seconds("syncTime"), columns::seconds("lastTouchedTime"),
    columns::text("unreadCount"), columns::text("messageCount"),
    columns::text("totalCount"),  columns::account,
    columns::source_file,         columns::os_scheme_display,
    columns::source_count_name,
};

constexpr extract_step mailbox_step(
    "Select displayName,serverId,syncTime, lastTouchedTime, messageCount,unreadCount,totalCount from Mailbox",
    "insert into mailbox(bookmark, display_name, server_id, sync_time ,last_touched_time,unread_count,message_count,"
    "total_count,account_id, source_file,os_scheme_display, source_count_name) values(0,?,?,?,?,?,  ?,?,?,?,?,?)",
    mailbox_columns);

/// The account's own text beside its own name, nothing beside another name.
consteval column own_text(const char *source_column)
{
    return {[](const row_context &row, const QVariant &read) {
                return row.pair_matches ? columns::text_of(read) : never_null({});
            },
            source_column};
}

QString paired_name(const row_context &row, const QVariant &)
{
    return row.paired_name;
}

QString paired_source_file(const row_context &row, const QVariant &)
{
    return row.pair_matches ? row.source_file : row.pair_source_file;
}

constexpr column account_columns[] = {
    own_text("displayName"),    {paired_name},        own_text("senderName"),
    own_text("ringtoneUri"),    {paired_source_file}, columns::os_scheme_display,
    columns::source_count_name,
};

/// Each account is paired with every account that was warmed up lastly: n accounts and m names give n times m rows, and
/// no rows at all when there are no names.
constexpr extract_step
    account_step("Select displayName,emailAddress,senderName, ringtoneUri from Account",
                 "insert into accounts(bookmark,display_name,email_address,sender_name,ringtone_uri, source_file,"
                 "os_scheme_display, source_count_name) values(0,?,?,?,?,  ?,?,?)",
                 account_columns, "emailAddress");

constexpr column cookie_columns[] = {
    columns::text("host_key"),
    columns::text("name"),
    columns::text("value"),
    columns::text("path"),
    columns::yes_no("is_secure"),
    columns::yes_no("is_httponly"),
    columns::google_time("creation_utc"),
    columns::google_time("expires_utc"),
    columns::google_time("last_access_utc"),
    columns::yes_no("has_expires"), // that it has an expiry, under a column that says it has expired
    columns::yes_no("is_persistent"),
    columns::account,
    columns::source_file,
    columns::os_scheme_display,
    columns::source_count_name,
};

constexpr extract_step cookie_step(
    "Select host_key,name, value,path ,creation_utc,expires_utc, last_access_utc, is_secure,is_httponly,has_expires,"
    "is_persistent from cookies",
    "insert into cookies(bookmark,host_key, name, value, path ,is_secure,is_http_only,creation_time,expire_time,"
    "last_access_time, has_expired,is_persistent, account_id, source_file,os_scheme_display, source_count_name) "
    "values(0,?,?,?,?,  ?,?,?,?,?,  ?,?,?,?,?, ?)",
    cookie_columns);

} // namespace

void gmail_androidos::extract_gm_mailboxes()
{
    run_on_provider(mailbox_step, {});
}

void gmail_androidos::extract_gm_accounts()
{
    run_on_provider(account_step, {}, [this](const source_database &) -> row_look_up {
        const QStringList names = extract_last_warmup_accounts();
        const QString names_file = source_file_value(relative_path(warm_accounts_path.trimmed()));
        return [names, names_file](const QSqlQuery &, row_context &context) {
            context.paired_names = names;
            context.pair_source_file = names_file;
        };
    });
}

/// A store that cannot be copied shows as one that cannot be opened.
void gmail_androidos::extract_gm_cookies()
{
    run_on_one_source(cookie_step, cookie_store_path, false, {});
}
