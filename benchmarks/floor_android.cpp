/// The yardsticks for an Android source: a program that does only the unavoidable.
///
///     floor_android SOURCE RESULT_DIR
///
/// One copy of each database, one pass over each table with joins, equal rows into one transaction. Built twice, see
/// sink.h. It knows only sources as `generate` makes them, and checks nothing.
#include "benchmarks/sink.h"

#include <charconv>
#include <dirent.h>
#include <string>
#include <unordered_map>

namespace fs = std::filesystem;
using std::string;

namespace {

constexpr const char *message_columns[] = {"display_name",      "timestamp",         "subject",
                                           "snippet",           "has_attachment",    "email_attachments",
                                           "mailbox",           "snippet_file",      "seen",
                                           "from_list",         "to_list",           "cc_list",
                                           "bcc_list",          "reply_to_list",     "account_id",
                                           "preview_file_path", "export_file_paths", "source_file",
                                           "os_scheme_display", "source_count_name", "date_sent",
                                           "date_received",     "permalink"};
constexpr const char *attachment_columns[] = {
    "file_name",         "file_path",         "mime_type",         "size",
    "mail_subject",      "mail_snippet",      "content_id",        "content_uri",
    "account_id",        "preview_file_path", "export_file_paths", "source_file",
    "os_scheme_display", "source_count_name"};
constexpr const char *mailbox_columns[] = {"display_name", "server_id",         "sync_time",        "last_touched_time",
                                           "unread_count", "message_count",     "total_count",      "account_id",
                                           "source_file",  "os_scheme_display", "source_count_name"};
constexpr const char *account_columns[] = {"display_name", "email_address",     "sender_name",      "ringtone_uri",
                                           "source_file",  "os_scheme_display", "source_count_name"};
constexpr const char *cookie_columns[] = {"host_key",
                                          "name",
                                          "value",
                                          "path",
                                          "is_secure",
                                          "is_http_only",
                                          "creation_time",
                                          "expire_time",
                                          "last_access_time",
                                          "has_expired",
                                          "is_persistent",
                                          "account_id",
                                          "source_file",
                                          "os_scheme_display",
                                          "source_count_name"};

const string app = "/apps/com.google.android.gm/";
const string provider_file = app + "db/EmailProvider.db";

/// A number as a text, in memory that lives until the next row.
class number_text
{
public:
    field operator()(long long number)
    {
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        return text_field({digits, static_cast<std::size_t>(end - digits)});
    }
    field seconds(const rows_of &row, int column)
    {
        return row.is_null(column) ? field() : (*this)(row.integer(column) / 1000);
    }
    field webkit(const rows_of &row, int column) { return (*this)(row.integer(column) / 1000000 - 11644473600); }

private:
    char digits[24];
};

field yes_no(const rows_of &row, int column)
{
    return text_field(row.integer(column) == 1 ? "YES" : "NO");
}

std::unordered_map<long long, string> body_files(const fs::path &directory)
{
    std::unordered_map<long long, string> found;
    if (DIR *entries = ::opendir(directory.c_str())) {
        while (const dirent *entry = ::readdir(entries)) {
            if (entry->d_name[0] != '.')
                found[std::strtoll(entry->d_name, nullptr, 10)] = entry->d_name;
        }
        ::closedir(entries);
    }
    return found;
}

struct result_tables
{
    explicit result_tables(database &db)
        : messages(db, "messages", message_columns)
        , attachments(db, "attachments", attachment_columns)
        , mailboxes(db, "mailbox", mailbox_columns)
        , accounts(db, "accounts", account_columns)
        , cookies(db, "cookies", cookie_columns)
    {
    }
    sink messages, attachments, mailboxes, accounts, cookies;
};

const field none = field();

void provider(database &source, const fs::path &root, result_tables &result)
{
    const field display = text_field("display");
    const field count = text_field("Source1");
    const field file = text_field(provider_file);
    const field account = text_field("dora@example.org");
    const auto bodies = body_files(root.string() + app + "f/body/0");
    number_text time, sent;
    {
        rows_of attachment(source, "select messageKey, _id, fileName from Attachment order by messageKey, _id");
        bool more = attachment.next();
        rows_of row(source, "select m._id, m.displayName, timeStamp, subject, snippet, flagAttachment, b.displayName, "
                            "flagSeen, fromList, "
                            "toList, ccList, bccList, replyToList from Message m left join Mailbox b on b._id = "
                            "mailboxKey order by m._id");
        while (row.next()) {
            const long long id = row.integer(0);
            string described, exported, preview;
            for (; more && attachment.integer(0) == id; more = attachment.next()) {
                const string path = app + "db/1.db_att/" + std::to_string(attachment.integer(1));
#if defined(PLAIN_QT)
                const string name = attachment.text(2).toString().toStdString();
#else
                const string name(attachment.text(2).value_or(""));
#endif
                described += described.empty() ? "File Name : " : ";;File Name : ";
                described += name;
                described += ";File Path : ";
                described += path;
                exported += path + ";++::++;";
                if (preview.empty())
                    preview = path;
            }
            const auto found = bodies.find(id);
            const string body = found == bodies.end() ? string() : app + "f/body/0/" + found->second;
            if (body.empty() && !exported.empty())
                exported.resize(exported.size() - 8);
            exported += body;
            result.messages.insert({row.text(1),
                                    time.seconds(row, 2),
                                    row.text(3),
                                    row.text(4),
                                    yes_no(row, 5),
                                    text_field(described),
                                    row.text(6),
                                    text_field(body),
                                    yes_no(row, 7),
                                    row.text(8),
                                    row.text(9),
                                    row.text(10),
                                    row.text(11),
                                    row.text(12),
                                    account,
                                    text_field(preview),
                                    text_field(exported),
                                    file,
                                    display,
                                    count,
                                    none,
                                    none,
                                    none});
        }
    }
    {
        rows_of row(source, "select a._id, fileName, mimeType, size, subject, snippet, contentId, contentUri from "
                            "Attachment a left join "
                            "Message m on m._id = messageKey");
        while (row.next()) {
            const string path = app + "db/1.db_att/" + std::to_string(row.integer(0));
            const field cached = text_field(path);
            result.attachments.insert({row.text(1), cached, row.text(2), row.text(3), row.text(4), row.text(5),
                                       row.text(6), row.text(7), account, cached, cached, file, display, count});
        }
    }
    rows_of mailbox(
        source,
        "select displayName, serverId, syncTime, lastTouchedTime, unreadCount, messageCount, totalCount from Mailbox");
    while (mailbox.next())
        result.mailboxes.insert({mailbox.text(0), mailbox.text(1), time.seconds(mailbox, 2), sent.seconds(mailbox, 3),
                                 mailbox.text(4), mailbox.text(5), mailbox.text(6), account, file, display, count});
    rows_of own(source, "select displayName, emailAddress, senderName, ringtoneUri from Account");
    while (own.next()) {
        result.accounts.insert({own.text(0), own.text(1), own.text(2), own.text(3), file, display, count});
        result.accounts.insert({text_field(""), text_field("emil@example.org"), text_field(""), text_field(""),
                                text_field(app + "sp/warm_accounts_preferences.xml"), display, count});
    }
}

void mail_store(database &source, const string &name, result_tables &result)
{
    const string path = app + "db/" + name;
    const field file = text_field(path);
    const string account = name.substr(10, name.size() - 13);
    const field owner = text_field(account);
    const field display = text_field("display");
    const field count = text_field("Source1");
    number_text sent, received;
    {
        rows_of row(
            source,
            "select subject, snippet, dateSentMs, dateReceivedMs, fromAddress, toAddresses, ccAddresses, bccAddresses, "
            "replyToAddresses, permalink from messages");
        while (row.next())
            result.messages.insert({none,
                                    none,
                                    row.text(0),
                                    row.text(1),
                                    none,
                                    none,
                                    none,
                                    none,
                                    none,
                                    row.text(4),
                                    row.text(5),
                                    row.text(6),
                                    row.text(7),
                                    row.text(8),
                                    owner,
                                    none,
                                    none,
                                    file,
                                    display,
                                    count,
                                    sent.seconds(row, 2),
                                    received.seconds(row, 3),
                                    row.text(9)});
    }
    rows_of row(source, "select filename, mimeType, size from attachments");
    while (row.next())
        result.attachments.insert({row.text(0), none, row.text(1), row.text(2), none, none, none, none, owner, none,
                                   none, file, display, count});
}

void cookies(database &source, result_tables &result)
{
    const string path = app + "r/app_webview/Cookies";
    const field file = text_field(path);
    number_text made, ends, used;
    rows_of row(source, "select host_key, name, value, path, is_secure, is_httponly, creation_utc, expires_utc, "
                        "last_access_utc, has_expires, "
                        "is_persistent from cookies");
    while (row.next())
        result.cookies.insert({row.text(0), row.text(1), row.text(2), row.text(3), yes_no(row, 4), yes_no(row, 5),
                               made.webkit(row, 6), ends.webkit(row, 7), used.webkit(row, 8), yes_no(row, 9),
                               yes_no(row, 10), text_field("dora@example.org"), file, text_field("display"),
                               text_field("Source1")});
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3)
        return 2;
    const fs::path root = argv[1];
    const fs::path result_dir = argv[2];
    fs::remove_all(result_dir);
    fs::create_directories(result_dir / "tmp");
    const auto copy_of = [&](const fs::path &file) {
        fs::copy_file(file, result_dir / "tmp" / file.filename());
        return result_dir / "tmp" / file.filename();
    };
    {
        database db(result_dir / "Gmail.sqlite");
        result_tables result(db);
        database own(copy_of(root.string() + provider_file));
        provider(own, root, result);
        for (const fs::directory_entry &entry : fs::directory_iterator(root.string() + app + "db")) {
            const string name = entry.path().filename().string();
            if (name.starts_with("mailstore.")) {
                database store(copy_of(entry.path()));
                mail_store(store, name, result);
            }
        }
        database store(copy_of(root.string() + app + "r/app_webview/Cookies"));
        cookies(store, result);
    }
    fs::remove_all(result_dir / "tmp");
    return 0;
}
