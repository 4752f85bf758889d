-- The provider database: one account, three mailboxes, four messages, two attachments.
CREATE TABLE Account (_id integer primary key autoincrement, displayName text, emailAddress text, syncKey text,
    syncLookback integer, syncInterval text, hostAuthKeyRecv integer, hostAuthKeySend integer, flags integer,
    compatibilityUuid text, senderName text, ringtoneUri text, protocolVersion text, newMessageCount integer,
    securityFlags integer, securitySyncKey text, signature text, policyKey integer, pingDuration integer);
CREATE TABLE Mailbox (_id integer primary key autoincrement, displayName text, serverId text, parentServerId text,
    parentKey integer, accountKey integer, type integer, delimiter integer, syncKey text, syncLookback integer,
    syncInterval integer, syncTime integer, unreadCount integer, flagVisible integer, flags integer,
    visibleLimit integer, syncStatus text, messageCount integer not null default 0, lastTouchedTime integer default 0,
    uiSyncStatus integer default 0, uiLastSyncResult integer default 0, totalCount integer default 0,
    hierarchicalName text);
CREATE TABLE Message (_id integer primary key autoincrement, syncServerId text, syncServerTimeStamp integer,
    displayName text, timeStamp integer, subject text, flagRead integer, flagLoaded integer, flagFavorite integer,
    flagAttachment integer, flags integer, clientId integer, messageId text, mailboxKey integer, accountKey integer,
    fromList text, toList text, ccList text, bccList text, replyToList text, meetingInfo text, snippet text,
    protocolSearchInfo text, threadTopic text, syncData text, flagSeen integer, mainMailboxKey integer);
CREATE TABLE Attachment (_id integer primary key autoincrement, fileName text, mimeType text, size integer,
    contentId text, contentUri text, messageKey integer, location text, encoding text, content text, flags integer,
    content_bytes blob, accountKey integer, uiState integer, uiDestination integer, uiDownloadedSize integer,
    cachedFile text);
CREATE INDEX attachment_messageKey on Attachment (messageKey);

INSERT INTO Account (_id, displayName, emailAddress, senderName, ringtoneUri) VALUES
    (1, 'Work', 'dora@example.org', 'Dora Eck', 'content://settings/system/notification_sound');
INSERT INTO Mailbox (_id, displayName, serverId, accountKey, type, syncTime, unreadCount, messageCount, lastTouchedTime,
                     totalCount) VALUES
    (1, 'Inbox', 'INBOX', 1, 0, 1704962400123, 1, 2, 1704965000999, 2),
    (2, 'Sent', 'Sent Items', 1, 5, 0, 0, 1, 0, 1),
    (3, NULL, 'Drafts', 1, 3, NULL, 0, 0, NULL, 0);
INSERT INTO Message (_id, displayName, timeStamp, subject, flagAttachment, messageId, mailboxKey, accountKey, fromList,
                     toList, ccList, replyToList, snippet, flagSeen) VALUES
    (11, 'Ben Cole', 1704790800999, 'Figures for the contract', 1, '<1@example.org>', 1, 1, 'ben.cole@example.org',
     'dora@example.org', NULL, '', 'Both sheets are attached', 1),
    (12, 'Anna Berg', 1704877200000, 'Lunch?', 0, '<2@example.org>', 1, 1, 'anna.berg@example.org', 'dora@example.org',
     'ben.cole@example.org', NULL, 'Half past twelve', 0),
    (13, 'Dora Eck', 1704963600000, 'Re: Lunch?', 0, '<3@example.org>', 2, 1, 'dora@example.org',
     'anna.berg@example.org', NULL, NULL, 'Fine', 1),
    (14, NULL, NULL, NULL, NULL, NULL, 99, 1, NULL, NULL, NULL, NULL, NULL, NULL);
INSERT INTO Attachment (_id, fileName, mimeType, size, contentId, contentUri, messageKey, accountKey) VALUES
    (5, 'january.xlsx', 'application/vnd.ms-excel', 20480, NULL, 'content://attachment/1/5/RAW', 11, 1),
    (6, 'february.xlsx', 'application/vnd.ms-excel', 20992, NULL, 'content://attachment/1/6/RAW', 11, 1);
