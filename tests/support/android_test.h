/// An Android source made of SQL statements, and one run over it.
#pragma once

#include "tests/support/support.h"

#include <QLatin1StringView>

inline const QString application = QStringLiteral("apps/com.google.android.gm/");

inline QStringList sql(std::initializer_list<const char *> statements)
{
    QStringList list;
    for (const char *statement : statements)
        list.append(QString::fromUtf8(statement));
    return list;
}

inline const QStringList provider_tables = sql({
    "create table Account(_id integer primary key, displayName, emailAddress, senderName, ringtoneUri)",
    "create table Mailbox(_id integer primary key, displayName, serverId, syncTime, lastTouchedTime, messageCount, "
    "unreadCount, totalCount)",
    "create table Message(_id integer primary key, displayName, timeStamp, subject, flagAttachment, messageId, "
    "mailboxKey integer, fromList, toList, ccList, bccList, replyToList, snippet, flagSeen)",
    "create table Attachment(_id integer primary key, fileName, mimeType, size, contentId, contentUri, "
    "messageKey integer)",
});

inline const QStringList store_tables = sql({
    "create table messages(_id integer primary key, subject, messageId, fromAddress, toAddresses, ccAddresses, "
    "bccAddresses, replyToAddresses, snippet, dateSentMs, dateReceivedMs, permalink, bodyCompressed)",
    "create table attachments(_id integer primary key, filename, mimeType, size, messages_messageId)",
});

inline constexpr char cookies_table[] = "create table cookies(host_key, name, value, path, creation_utc, expires_utc, "
                                        "last_access_utc, is_secure, is_httponly, has_expires, is_persistent)";

/// The base of tests of Android sources; they make the session.
class android_test : public QObject
{
protected:
    QString source(const char *relative) const { return session->source(application + QLatin1StringView(relative)); }
    bool provider(const QStringList &statements)
    {
        return run_sql(source("db/EmailProvider.db"), provider_tables + statements);
    }
    void extract(const char *table)
    {
        session->prepare({QString::fromLatin1(table)});
        session->extract();
    }
    QStringList rows(const char *query) const { return rows_of(session->database(), QString::fromLatin1(query)); }

    std::unique_ptr<plugin_session> session;
};
