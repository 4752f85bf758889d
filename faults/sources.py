"""Sources of both kinds that fault runs read: Takeout mail files and the databases of the Android application."""
import base64
import os
import random
import sqlite3

from sweep import write

application = "apps/com.google.android.gm/"

separator = b"From 1@xxx Mon Jan 01 10:11:12 +0000 2024\r\n"
headers = (b"Date: Mon, 01 Jan 2024 10:11:12 +0100\r\nFrom: Anna <a@example.org>\r\nTo: Ben <b@example.org>, Carla "
           b"<c@example.org>\r\nSubject: Message %d\r\n")
multipart = b"Content-Type: multipart/mixed; boundary=\"----=_P\"\r\n\r\n"
text_part = b"------=_P\r\nContent-Type: text/plain; charset=\"UTF-8\"\r\n\r\n%s\r\n\r\n"
end_of_parts = b"------=_P--\r\n\r\n"
end_of_text = b"\r\n\r\n" + end_of_parts


def attachment(name, content):
    return (b"------=_P\r\nContent-Type: image/png\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: "
            b"attachment; filename=\"" + name + b"\"\r\n\r\n" + base64.b64encode(content) + b"QQ==\r\n\r\n")


def message(number, *parts):
    return (separator + headers % number + multipart + text_part % (b"Text of message %d. " % number * 20) +
            b"".join(parts) + end_of_parts)


def takeout(source, messages, attachment_size=3000):
    """Each message with one attachment of its own name."""
    path = os.path.join(source, "Mail", "All mail.mbox")
    os.makedirs(os.path.dirname(path))
    dice = random.Random(messages)
    with open(path, "wb") as mbox:
        for number in range(messages):
            mbox.write(message(number, attachment(b"file%d.bin" % number,
                                                  dice.randbytes(attachment_size // 3 * 3))))
        mbox.write(separator)
    return path


def android(source, mails, body_files=20, padding=200):
    """A provider database, a mail store, cookies; returns the provider's path."""
    for folder in ("db", "f/body/0", "r/app_webview", "sp"):
        os.makedirs(os.path.join(source, application, folder))
    path = os.path.join(source, application, "db", "EmailProvider.db")
    numbers = "with recursive n(i) as (select 1 union all select i + 1 from n where i < %d) "
    columns = "_id integer primary key, displayName, timeStamp, subject, flagAttachment, messageId, mailboxKey, " \
              "fromList, toList, ccList, bccList, replyToList, snippet, flagSeen"
    scripts = {
        path: "create table Account(_id integer primary key, displayName, emailAddress, senderName, ringtoneUri);"
              "insert into Account values(1, 'Dora', 'dora@example.org', 's', 'r');"
              "create table Mailbox(_id integer primary key, displayName, serverId, syncTime, lastTouchedTime, "
              "messageCount, unreadCount, totalCount);"
              "insert into Mailbox(_id, displayName) values(1, 'In'), (2, 'Out');"
              "create table Message(%s); create table Attachment(_id integer primary key, fileName, mimeType, size, "
              "contentId, contentUri, messageKey);" % columns + numbers % mails +
              "insert into Message select i, 'name', 1700000000000 + i, 'subject ' || i, 1, i, i %% 3, 'f', 't', 'c', "
              "'b', 'r', hex(zeroblob(%d)), 1 from n; " % padding + numbers % (mails // 2) +
              "insert into Attachment select i, 'file' || i, 'a/b', i, i, 'u', i * 2 from n;",
        os.path.join(source, application, "db", "mailstore.emil@example.org.db"):
              "create table messages(_id integer primary key, subject, messageId, fromAddress, toAddresses, "
              "ccAddresses, bccAddresses, replyToAddresses, snippet, dateSentMs, dateReceivedMs, permalink, "
              "bodyCompressed);"
              "create table attachments(_id integer primary key, filename, mimeType, size, messages_messageId);" +
              numbers % (mails // 2) + "insert into messages select i, 'subject', i, 'f', 't', 'c', 'b', 'r', "
              "'snippet', i, i, 'p', x'00' from n; insert into attachments values(1, 'n', 'm', 7, 9);",
        os.path.join(source, application, "r", "app_webview", "Cookies"):
              "create table cookies(host_key, name, value, path, creation_utc, expires_utc, last_access_utc, is_secure,"
              "is_httponly, has_expires, is_persistent);" + numbers % (mails // 10) +
              "insert into cookies select 'host', 'n' || i, 'v', '/', 13349264400000000, 0, 0, 1, 1, 1, 1 from n;",
    }
    for database, script in scripts.items():
        connection = sqlite3.connect(database, isolation_level=None)
        connection.executescript("pragma synchronous = off; begin;" + script + "commit;")
        connection.close()
    for number in range(body_files):
        write(os.path.join(source, application, "f/body/0", "%d.html" % number), b"x")
    write(os.path.join(source, application, "sp", "warm_accounts_preferences.xml"),
          b"<map><string name='lastly_warmed_up_accounts'>dora@example.org\nemil@example.org</string></map>")
    return path
