/// Mailboxes of the provider database.
#include "extractors/android/extract_step.h"

namespace {

constexpr column mailbox_columns[] = {
    columns::text("displayName"), columns::text("serverId"),
    columns::seconds("syncTime"), columns::seconds("lastTouchedTime"),
    columns::text("unreadCount"), columns::text("messageCount"),
    columns::text("totalCount"),  columns::account,
    columns::source_file,         columns::os_scheme_display,
    columns::source_count_name,
};

} // namespace

constexpr extract_step mailbox_step(
    "Select displayName,serverId,syncTime, lastTouchedTime, messageCount,unreadCount,totalCount from Mailbox",
    "insert into mailbox(bookmark, display_name, server_id, sync_time ,last_touched_time,unread_count,message_count,"
    "total_count,account_id, source_file,os_scheme_display, source_count_name) values(0,?,?,?,?,?,  ?,?,?,?,?,?)",
    mailbox_columns);
