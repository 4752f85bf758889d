/// Makes sources to measure with: the same bytes for the same arguments, on every machine.
///
///     generate KIND SIZE DIRECTORY
///
/// The meaning of SIZE depends on the kind; `kinds` below lists it.
#include <sqlite3.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>

namespace fs = std::filesystem;

namespace {

// ---- Random but repeatable ----------------------------------------------------------------------------------------

class random_source
{
public:
    std::uint64_t next()
    {
        state += 0x9e3779b97f4a7c15;
        std::uint64_t z = state;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    }
    std::size_t below(std::size_t limit) { return next() % limit; }

private:
    std::uint64_t state = 1;
};

random_source dice;

const char *const words[] = {"contract", "meeting", "figures", "please", "the",   "and",      "with",    "from",
                             "tomorrow", "invoice", "draft",   "thank",  "you",   "attached", "version", "price",
                             "of",       "for",     "to",      "in",     "sheet", "call",     "later",   "Müller"};

std::string sentence(std::size_t bytes)
{
    std::string text;
    std::size_t line = 0;
    while (text.size() < bytes) {
        const std::string word = words[dice.below(std::size(words))];
        line += word.size() + 1;
        text += word;
        text += line > 70 ? "\r\n" : " ";
        line = line > 70 ? 0 : line;
    }
    return text;
}

std::string base64(std::size_t bytes)
{
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve(bytes * 4 / 3 + bytes / 57 * 2 + 8);
    for (std::size_t quads = bytes / 3, i = 0; i < quads; ++i) {
        const std::uint64_t bits = dice.next();
        for (int shift = 0; shift < 24; shift += 6)
            text += alphabet[(bits >> shift) & 63];
        if (i % 19 == 18)
            text += "\r\n";
    }
    return text + "QQ==\r\n";
}

// ---- Takeout ------------------------------------------------------------------------------------------------------

std::string separator_and_headers(std::size_t number, const std::string &more)
{
    static const char *const days[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    char date[64];
    (void)std::snprintf(date, sizeof date, "Date: %s, %02zu Jan 2024 %02zu:%02zu:%02zu +0100\r\n",
                        days[number % 28 % 7], number % 28 + 1, number % 24, number % 60, number % 59);
    return "From " + std::to_string(1600000000000000000 + number) +
           "@xxx Mon Jan 01 10:11:12 +0000 2024\r\nX-GM-THRID: " + std::to_string(1600000000000000000 + number) +
           "\r\nX-Gmail-Labels: Inbox,Opened\r\nDelivered-To: me@example.org\r\nReceived: by 2002:a05:6512:3c8b with "
           "SMTP id "
           "h11csp1234567lfv;\r\n        Mon, 1 Jan 2024 02:03:04 -0800 (PST)\r\nMessage-ID: <" +
           std::to_string(number) + "@mail.example.org>\r\n" + date + "From: Anna Berg <anna" +
           std::to_string(number % 97) +
           "@example.org>\r\nTo: Ben Cole <ben@example.org>, Carla Diaz <carla@example.org>\r\nSubject: Message " +
           std::to_string(number) + " about " + words[number % 20] + "\r\nMIME-Version: 1.0\r\n" + more;
}

std::string text_message(std::size_t number, std::size_t bytes)
{
    std::string mail = separator_and_headers(number, "Content-Type: text/plain; charset=\"UTF-8\"\r\n\r\n");
    while (bytes > 0) {
        const std::size_t paragraph = std::min<std::size_t>(bytes, 300 + dice.below(900));
        mail += sentence(paragraph) + "\r\n\r\n";
        bytes -= paragraph;
    }
    return mail;
}

std::string part_with_attachment(const std::string &name, std::size_t bytes)
{
    return "------=_Part_1\r\nContent-Type: image/png; name=\"" + name +
           "\"\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment; filename=\"" + name +
           "\"\r\n\r\n" + base64(bytes) + "\r\n";
}

std::string message_with(std::size_t number, const std::string &parts)
{
    return separator_and_headers(number, "Content-Type: multipart/mixed; boundary=\"----=_Part_1\"\r\n\r\n") +
           "------=_Part_1\r\nContent-Type: text/plain; charset=\"UTF-8\"\r\n\r\n" + sentence(200 + dice.below(800)) +
           "\r\n\r\n" + parts + "------=_Part_1--\r\n\r\n";
}

class mbox
{
public:
    explicit mbox(const fs::path &directory, const std::string &name = "All mail.mbox")
    {
        fs::create_directories(directory / "Mail");
        file.open(directory / "Mail" / name, std::ios::binary);
    }
    ~mbox() { file << "From 1@xxx the last message yields no row\r\n\r\n"; }
    void add(const std::string &mail) { file << mail; }

private:
    std::ofstream file;
};

void takeout_mixed(std::size_t messages, const fs::path &directory)
{
    mbox file(directory);
    for (std::size_t i = 0; i < messages; ++i) {
        if (dice.below(10) < 3)
            file.add(text_message(i, 2000 + dice.below(6000)));
        else
            file.add(
                message_with(i, part_with_attachment("scan " + std::to_string(i) + ".png", 6000 + dice.below(27000))));
    }
}

void takeout_text(std::size_t messages, const fs::path &directory)
{
    mbox file(directory);
    for (std::size_t i = 0; i < messages; ++i)
        file.add(text_message(i, 3000 + dice.below(5400)));
}

void takeout_same_name(std::size_t messages, const fs::path &directory)
{
    mbox file(directory);
    for (std::size_t i = 0; i < messages; ++i)
        file.add(message_with(i, part_with_attachment("image001.png", 2000 + dice.below(8000))));
}

void takeout_attachments_in_one(std::size_t attachments, const fs::path &directory)
{
    std::string parts;
    for (std::size_t i = 0; i < attachments; ++i)
        parts += part_with_attachment("part " + std::to_string(i) + ".png", 300);
    mbox(directory).add(message_with(0, parts));
}

void takeout_giant(std::size_t mebibytes, const fs::path &directory)
{
    mbox(directory).add(message_with(0, part_with_attachment("giant.bin", mebibytes * 1024 * 1024 / 4 * 3)));
}

void takeout_long_line(std::size_t mebibytes, const fs::path &directory)
{
    mbox(directory).add(message_with(0, std::string(mebibytes * 1024 * 1024, 'x') + "\r\n"));
}

void takeout_long_header(std::size_t kibibytes, const fs::path &directory)
{
    std::string recipients = "Cc: ";
    while (recipients.size() < kibibytes * 1024)
        recipients += "Some Name <name@example.org>, ";
    mbox(directory).add(
        separator_and_headers(0, recipients + "Z <z@example.org>\r\nContent-Type: text/plain\r\n\r\nx\r\n\r\n"));
}

void takeout_files(std::size_t files, const fs::path &directory)
{
    for (std::size_t i = 0; i < files; ++i)
        mbox(directory, "Label " + std::to_string(i) + ".mbox").add(text_message(i, 2000));
}

// ---- Android ------------------------------------------------------------------------------------------------------

class database
{
public:
    explicit database(const fs::path &path)
    {
        fs::create_directories(path.parent_path());
        sqlite3_open(path.c_str(), &db);
        run("pragma journal_mode = off; pragma synchronous = off; begin");
    }
    ~database()
    {
        run("commit");
        sqlite3_close(db);
    }
    void run(const char *sql)
    {
        if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
            std::cerr << sqlite3_errmsg(db) << ": " << sql << '\n';
            std::exit(1);
        }
    }
    /// Run a statement for n = 1 to `count`.
    void repeat(const std::string &statement, std::size_t count)
    {
        run(("with recursive n(n) as (select 1 union all select n + 1 from n where n < " + std::to_string(count) +
             ") " + statement)
                .c_str());
    }

private:
    sqlite3 *db = nullptr;
};

fs::path application(const fs::path &directory)
{
    return directory / "apps" / "com.google.android.gm";
}

void provider(const fs::path &directory, std::size_t messages, std::size_t attachments)
{
    database db(application(directory) / "db" / "EmailProvider.db");
    db.run("create table Account(_id integer primary key autoincrement, displayName text, emailAddress text, "
           "senderName text, "
           "ringtoneUri text);"
           "create table Mailbox(_id integer primary key autoincrement, displayName text, serverId text, syncTime "
           "integer, "
           "lastTouchedTime integer, messageCount integer, unreadCount integer, totalCount integer);"
           "create table Message(_id integer primary key autoincrement, syncServerId text, displayName text, timeStamp "
           "integer, "
           "subject text, flagRead integer, flagAttachment integer, flags integer, messageId text, mailboxKey integer, "
           "accountKey integer, fromList text, toList text, ccList text, bccList text, replyToList text, snippet text, "
           "flagSeen integer);"
           "create table Attachment(_id integer primary key autoincrement, fileName text, mimeType text, size integer, "
           "contentId "
           "text, contentUri text, messageKey integer, accountKey integer);" // no index on messageKey
           "insert into Account values(1, 'Work', 'dora@example.org', 'Dora', 'content://tone')");
    db.repeat(
        "insert into Mailbox select n, 'Mailbox ' || n, 'S' || n, 1700000000000 + n, 1700000000999, n, n, n from n",
        12);
    db.repeat("insert into Message select n, 'srv' || n, 'Sender ' || (n % 97), 1600000000000 + n * 997, 'Subject of "
              "the message with "
              "number ' || n, 1, n % 3 = 0, 0, '<' || n || '@mail.example.org>', n % 12 + 1, 1, 'sender' || (n % 97) "
              "|| '@example.org', "
              "'dora@example.org', case n % 4 when 0 then 'carla@example.org' end, null, '', 'The beginning of the "
              "text of message ' || n "
              "|| ', as a list shows it to its reader, cut after some words', n % 2 from n",
              messages);
    if (attachments > 0)
        db.repeat("insert into Attachment select n, 'file ' || n || '.pdf', 'application/pdf', n * 11, null, "
                  "'content://attachment/' || n, "
                  "(n * 7919) % " +
                      std::to_string(messages) + " + 1, 1 from n",
                  attachments);
}

void bodies(const fs::path &directory, std::size_t count)
{
    const fs::path folder = application(directory) / "f" / "body" / "0";
    fs::create_directories(folder);
    for (std::size_t i = 1; i <= count; ++i)
        std::ofstream(folder / (std::to_string(i) + ".html")) << "<p>body</p>";
}

void mail_store(const fs::path &directory, const std::string &account, std::size_t messages)
{
    database db(application(directory) / "db" / ("mailstore." + account + ".db"));
    db.run("create table messages(_id integer primary key, messageId integer, conversation integer, fromAddress text, "
           "toAddresses text, "
           "ccAddresses text, bccAddresses text, replyToAddresses text, dateSentMs integer, dateReceivedMs integer, "
           "subject text, snippet "
           "text, permalink text, bodyCompressed blob);"
           "create table attachments(_id integer primary key, messages_messageId integer, filename text, mimeType "
           "text, size integer)");
    db.repeat("insert into messages select n, 1600000000000000000 + n, n, 'Sender ' || (n % 97) || ' <s@example.org>', "
              "'me@example.org', "
              "'', '', '', 1600000000000 + n, 1600000000999 + n, 'Stored subject ' || n, 'Stored snippet of message ' "
              "|| n || ' with some "
              "words', 'https://mail.example.org/' || n, randomblob(0) from n",
              messages);
    db.repeat("insert into attachments select n, n, 'stored ' || n || '.jpg', 'image/jpeg', n from n", messages / 10);
}

void cookies(const fs::path &directory, std::size_t count)
{
    database db(application(directory) / "r" / "app_webview" / "Cookies");
    db.run("create table cookies(creation_utc integer not null, host_key text not null, name text not null, value text "
           "not null, path text "
           "not null, expires_utc integer not null, is_secure integer not null, is_httponly integer not null, "
           "last_access_utc integer not "
           "null, has_expires integer not null, is_persistent integer not null)");
    db.repeat("insert into cookies select 13349264400000000 + n, '.host' || (n % 50) || '.example.org', 'name' || n, "
              "'value ' || n, '/', "
              "13380886800000000 + n, n % 2, n % 3 = 0, 13349350800000000, 1, 1 from n",
              count);
}

void android_mixed(std::size_t messages, const fs::path &directory)
{
    provider(directory, messages, messages * 2 / 5);
    bodies(directory, messages);
    fs::create_directories(application(directory) / "db" / "1.db_att");
    for (const char *account : {"a@example.org", "b@example.org", "c@example.org"})
        mail_store(directory, account, messages * 3 / 5);
    cookies(directory, messages / 10);
    fs::create_directories(application(directory) / "sp");
    std::ofstream(application(directory) / "sp" / "warm_accounts_preferences.xml")
        << "<map><string name=\"lastly_warmed_up_accounts\">dora@example.org\nemil@example.org</string></map>";
}

void android_bodies(std::size_t count, const fs::path &directory)
{
    provider(directory, 1000, 0);
    bodies(directory, count);
}

void android_attachments(std::size_t count, const fs::path &directory)
{
    provider(directory, 20000, count);
}

void android_stores(std::size_t stores, const fs::path &directory)
{
    for (std::size_t i = 0; i < stores; ++i)
        mail_store(directory, "account" + std::to_string(i) + "@example.org", 500);
}

// ---- Kinds --------------------------------------------------------------------------------------------------------

struct kind
{
    void (*make)(std::size_t, const fs::path &);
    const char *size_counts;
};

const std::map<std::string, kind> kinds = {
    {"takeout-mixed", {takeout_mixed, "messages, 7 of 10 with an attachment; about 20 KiB each"}},
    {"takeout-text", {takeout_text, "text messages, about 6 KiB each"}},
    {"takeout-same-name", {takeout_same_name, "messages, each with an attachment called image001.png"}},
    {"takeout-attachments-in-one", {takeout_attachments_in_one, "attachments of one message"}},
    {"takeout-giant", {takeout_giant, "MiB of one message"}},
    {"takeout-long-line", {takeout_long_line, "MiB of one line"}},
    {"takeout-long-header", {takeout_long_header, "KiB of one header"}},
    {"takeout-files", {takeout_files, "files in the mail folder"}},
    {"android-mixed",
     {android_mixed, "messages of the provider; body files, attachments, stores and cookies in proportion"}},
    {"android-bodies", {android_bodies, "body files"}},
    {"android-attachments", {android_attachments, "rows of Attachment, without an index"}},
    {"android-stores", {android_stores, "mail stores"}},
};

} // namespace

int main(int argc, char *argv[])
{
    const auto chosen = argc == 4 ? kinds.find(argv[1]) : kinds.end();
    if (chosen == kinds.end()) {
        std::cerr << "usage: generate KIND SIZE DIRECTORY\n";
        for (const auto &[name, known] : kinds)
            std::cerr << "  " << name << ": SIZE counts " << known.size_counts << '\n';
        return 2;
    }
    fs::remove_all(argv[3]);
    chosen->second.make(std::strtoull(argv[2], nullptr, 10), argv[3]);
    return 0;
}
