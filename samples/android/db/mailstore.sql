-- A mail store of one account. Run in write-ahead mode without a checkpoint: all rows live in the log beside the file.
PRAGMA journal_mode = WAL;
PRAGMA wal_autocheckpoint = 0;
CREATE TABLE messages (_id INTEGER PRIMARY KEY, messageId INTEGER, conversation INTEGER, fromAddress TEXT,
    toAddresses TEXT, ccAddresses TEXT, bccAddresses TEXT, replyToAddresses TEXT, dateSentMs INTEGER,
    dateReceivedMs INTEGER, subject TEXT, snippet TEXT, listInfo TEXT, personalLevel INTEGER, body TEXT,
    bodyEmbedsExternalResources INTEGER, joinedAttachmentInfos STRING, synced INTEGER, error TEXT, permalink TEXT,
    bodyCompressed BLOB, UNIQUE(messageId));
CREATE TABLE attachments (_id INTEGER PRIMARY KEY, messages_conversation INTEGER, messages_messageId INTEGER,
    messages_partId TEXT, originExtras TEXT, desiredRendition TEXT, downloadedRendition TEXT, downloadId INTEGER,
    status TEXT, saveToSd INTEGER, filename TEXT, priority INTEGER, mimeType TEXT, size INTEGER);
INSERT INTO messages (_id, messageId, fromAddress, toAddresses, dateSentMs, dateReceivedMs, subject, snippet, permalink)
VALUES
    (1, 1600000000000000001, 'Carla Diaz <carla@example.org>', 'emil@example.org', 1704790800000, 1704790803500,
     'Keys', 'They are under the mat', 'https://mail.google.com/mail/?th=1'),
    (2, 1600000000000000002, 'Emil <emil@example.org>', 'carla@example.org', 999, NULL, 'Re: Keys', '', NULL);
INSERT INTO attachments (_id, messages_messageId, filename, mimeType, size) VALUES
    (1, 1600000000000000001, 'mat.jpg', 'image/jpeg', 48123);
