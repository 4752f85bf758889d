"""Hostile Android sources: endless views, claims of huge sizes, XML that expands."""
import os
import sqlite3
import struct
import tempfile

import sweep

application = "apps/com.google.android.gm/"
provider, cookies = application + "db/EmailProvider.db", application + "r/app_webview/Cookies"
store = application + "db/mailstore.emil@example.org.db"
accounts_file = application + "sp/warm_accounts_preferences.xml"

provider_tables = """
create table Account(_id integer primary key, displayName text, emailAddress text, senderName text, ringtoneUri text);
create table Mailbox(_id integer primary key, displayName text, serverId text, syncTime integer,
    lastTouchedTime integer, messageCount integer, unreadCount integer, totalCount integer);
create table Message(_id integer primary key, displayName text, timeStamp integer, subject text,
    flagAttachment integer, messageId text, mailboxKey integer, fromList text, toList text, ccList text, bccList text,
    replyToList text, snippet text, flagSeen integer);
create table Attachment(_id integer primary key, fileName text, mimeType text, size integer, contentId text,
    contentUri text, messageKey integer);
"""
store_tables = """
create table messages(_id integer primary key, subject text, messageId integer, fromAddress text, toAddresses text,
    ccAddresses text, bccAddresses text, replyToAddresses text, snippet text, dateSentMs integer,
    dateReceivedMs integer, permalink text, bodyCompressed blob);
create table attachments(_id integer primary key, filename text, mimeType text, size integer,
    messages_messageId integer);
"""
cookies_table = """
create table cookies(creation_utc integer, host_key text, name text, value text, path text, expires_utc integer,
    is_secure integer, is_httponly integer, last_access_utc integer, has_expires integer, is_persistent integer);
"""
numbers = "with recursive n(i) as (select 1 union all select i + 1 from n where i < %d) "


def make_database(directory, name, script, settings="", keep_log=False):
    """The files of a database; with `keep_log` as on a device that is switched off, rows in the write-ahead log."""
    path = os.path.join(directory, "made.db")
    connection = sqlite3.connect(path, isolation_level=None)
    connection.executescript(settings)
    connection.executescript(script)
    files = {}
    for suffix in ("", "-wal", "-shm"):
        if os.path.exists(path + suffix) and (keep_log or not suffix):
            with open(path + suffix, "rb") as file:
                files[name + suffix] = file.read()
    connection.close()
    for suffix in ("", "-wal", "-shm"):
        if os.path.exists(path + suffix):
            os.remove(path + suffix)
    return files


message_columns = ("_id", "displayName", "timeStamp", "subject", "flagAttachment", "messageId", "mailboxKey",
                   "fromList", "toList", "ccList", "bccList", "replyToList", "snippet", "flagSeen")


def as_message(expression):
    return "select %s" % ", ".join("%s as %s" % (expression, name) for name in message_columns)


def doubling(kind, levels):
    """Each view or common table uses the previous one twice: the work doubles with each."""
    if kind == "views":
        return "create view v0 as select 1 as x;" + "".join(
            "create view v%d as select x from v%d union all select x from v%d;" % (i, i - 1, i - 1)
            for i in range(1, levels + 1)) + "create view Message as %s from v%d;" % (as_message("x"), levels)
    return "create view Message as with c0 as (select 1 as x)" + "".join(
        ", c%d as (select x from c%d union all select x from c%d)" % (i, i - 1, i - 1)
        for i in range(1, levels + 1)) + " %s from c%d;" % (as_message("x"), levels)


def joined(kind):
    """Hundreds of views that use each other, each within SQLite's limits for one view."""
    return "create view v0 as select 1 as x;" + "".join(
        "create view v%d as select v0.x as x from %s;" % (i, ", ".join(["v0"] + ["v%d as a%d" % (i - 1, k)
                                                                                for k in range(kind if i > 1 else 1)]))
        for i in range(1, 200)) + "create view Message as %s from v199;" % as_message("x")


def in_place_of(table, definition):
    return provider_tables + "drop table %s; %s" % (table, definition)


endless = "with recursive n(i) as (select 1 union all select i + 1 from n)"
hostile_provider = {
    "recursive view": in_place_of("Message", "create view Message as %s %s from n;" % (endless, as_message("i"))),
    "recursive mailboxes": in_place_of("Mailbox", "create view Mailbox as %s select i as _id, i as displayName, 1 as "
                                       "serverId, 1 as syncTime, 1 as lastTouchedTime, 1 as messageCount, 1 as "
                                       "unreadCount, 1 as totalCount from n; insert into Message(_id, mailboxKey) "
                                       "values(1, -1);" % endless),
    "recursive attachments": in_place_of("Attachment", "create view Attachment as %s select i as _id, i as fileName, 1 "
                                         "as mimeType, 1 as size, 1 as contentId, 1 as contentUri, -1 as messageKey "
                                         "from n; insert into Message(_id) values(1);" % endless),
    "recursive accounts": in_place_of("Account", "create view Account as %s select i as displayName, i as "
                                      "emailAddress, 1 as senderName, 1 as ringtoneUri from n where i < 0; insert into "
                                      "Message(_id) values(1);" % endless),
    "product of tables": in_place_of("Message", "create table t as %s select i as x from n limit 3000; create view "
                                     "Message as %s from t a, t b, t c;" % (endless, as_message("a.x"))),
    "text out of nothing": in_place_of("Message", "create table t(x); insert into t values(1); create view Message as "
                                       "%s from t;" % as_message("hex(zeroblob(400000000))")),
    "generated column": in_place_of("Message", "create table Message(_id integer primary key, displayName, timeStamp, "
                                    "subject as (hex(zeroblob(400000000))), flagAttachment, messageId, mailboxKey, "
                                    "fromList, toList, ccList, bccList, replyToList, snippet, flagSeen); insert into "
                                    "Message(_id) values(1);"),
    "triggers": provider_tables + "create trigger t after update on Message begin select hex(zeroblob(400000000)); "
                "end; insert into Message(_id) values(1);",
    "doubling views": in_place_of("Message", doubling("views", 30)),
    "doubling common tables": in_place_of("Message", doubling("common tables", 30)),
    "views of views": in_place_of("Message", joined(2)),
    "view below a quoted name": in_place_of("Message", doubling("views", 30).replace("v29", '"v""29"')),
    "no tables": "create table other(x);",
    "name of a mailbox for each mail": provider_tables + numbers % 20000 + "insert into Message(_id, mailboxKey) "
                                       "select i, i from n; " + numbers % 20000 +
                                       "insert into Mailbox(_id) select i from n;",
}


def great_rows_in_a_circle(directory):
    """Each row claims nearly all of the file, with overflow pages that all rows share."""
    files = make_database(directory, provider, provider_tables + numbers % 300 + "insert into Attachment select i, "
                          "hex(zeroblob(1000000)), 'a/b', 1, 1, 1, 7 from n limit 3; " + numbers % 300 +
                          "insert into Mailbox(_id, displayName) select i, hex(zeroblob(400000)) from n limit 3; "
                          "insert into Message(_id, mailboxKey) values(7, 1), (8, 2);", "pragma page_size = 512;")
    content = bytearray(files[provider])
    # The leaf cells of Attachment: give every one the first one's chain.
    connection_root = {}
    path = os.path.join(directory, "look.db")
    sweep.write(path, files[provider])
    connection = sqlite3.connect(path)
    for name, root in connection.execute("select name, rootpage from sqlite_master where type = 'table'"):
        connection_root[name] = root
    connection.close()
    os.remove(path)
    begin = (connection_root["Attachment"] - 1) * 512
    if content[begin] == 0x0D:  # a leaf: repeat its first cell as often as the page's list of cells has room for
        pointer = content[begin + 8:begin + 10]
        first_cell = struct.unpack(">H", pointer)[0]
        count = (first_cell - 8) // 2
        struct.pack_into(">H", content, begin + 3, count)
        content[begin + 8:begin + 8 + 2 * count] = pointer * count
    files[provider] = bytes(content)
    return files


def hostile_sources():
    sources = {}
    names = b"<map><string name='lastly_warmed_up_accounts'>a\nb</string></map>"
    with tempfile.TemporaryDirectory() as directory:
        for name, script in hostile_provider.items():
            sources[name] = make_database(directory, provider, script) | {accounts_file: names}
        sources["rows that share their pages"] = great_rows_in_a_circle(directory)
        plain = make_database(directory, provider,
                              provider_tables + "insert into Account values(1, 'a', 'a', 's', 'r');")
        for name, script in {"recursive cookies": "create view cookies as %s select i as host_key, i as name, i as "
                                                  "value, i as path, i as creation_utc, i as expires_utc, i as "
                                                  "last_access_utc, 1 as is_secure, 1 as is_httponly, 1 as "
                                                  "has_expires, 1 as is_persistent from n;" % endless,
                             "virtual table": "create virtual table cookies using fts5(host_key, name, value, path, "
                                              "creation_utc, expires_utc, last_access_utc, is_secure, is_httponly, "
                                              "has_expires, is_persistent);"}.items():
            sources[name] = make_database(directory, cookies, script)
        sources["recursive store"] = make_database(
            directory, store, "create view messages as %s select i as _id, i as subject, 1 as messageId, 1 as "
            "fromAddress, 1 as toAddresses, 1 as ccAddresses, 1 as bccAddresses, 1 as replyToAddresses, 1 as snippet, "
            "1 as dateSentMs, 1 as dateReceivedMs, 1 as permalink, 1 as bodyCompressed from n where i < 0;" % endless)
    open_name = b"<string name='lastly_warmed_up_accounts'>"
    xml = {
        "deep XML": b"<map>" + open_name + b"<b>" * 1000000,
        "huge text in XML": b"<map>" + open_name + b"a" * 20000000 + b"</string></map>",
        "huge attribute in XML": b"<map><string name='" + b"a" * 20000000 + b"'/></map>",
        "many names in XML": b"<map>" + open_name + b"a\n" * 200000 + b"</string></map>",
        "entities in XML": b"<!DOCTYPE m [<!ENTITY a0 'aaaaaaaaaa'>" + b"".join(
            b"<!ENTITY a%d '%s'>" % (i, b"&a%d;" % (i - 1) * 10) for i in range(1, 12)) + b"]><map>" + open_name +
            b"&a11;</string></map>",
        "outside entity in XML": b"<!DOCTYPE m [<!ENTITY a SYSTEM 'file:///etc/passwd'>]><map>" + open_name +
                                 b"&a;</string></map>",
    }
    for name, content in xml.items():
        sources[name] = plain | {accounts_file: content}
    return sources
