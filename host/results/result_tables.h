/// The tables of a result as they are shown and exported: their order, their times, and the columns shown by default.
#pragma once

#include <QByteArray>
#include <QList>

/// Facts about a table that hold for every result. All times are seconds since 1970-01-01 00:00:00 UTC.
struct known_table
{
    const char *name;
    bool of_mail;      ///< in Mail.sqlite, else in Gmail.sqlite
    const char *times; ///< columns that are times, separated by commas, the most telling one first
    const char *shown; ///< columns that `show` prints by default, separated by commas
    const char *key;   ///< column by which rows are sorted by default
};

/// In the order in which tables are listed.
inline constexpr known_table known_tables[] = {
    {"messages", false, "timestamp,date_sent,date_received",
     "INT,timestamp,date_sent,date_received,from_list,to_list,subject,email_attachments,snippet", "INT"},
    {"attachments", false, "", "INT,file_name,mime_type,size,mail_subject,file_path", "INT"},
    {"accounts", false, "", "INT,email_address,display_name,sender_name,source_file", "INT"},
    {"mailbox", false, "sync_time,last_touched_time",
     "INT,display_name,server_id,sync_time,last_touched_time,unread_count,message_count,account_id", "INT"},
    {"cookies", false, "creation_time,expire_time,last_access_time",
     "INT,host_key,name,creation_time,expire_time,last_access_time,is_secure,path,value", "INT"},
    {"exportfilelist", false, "", "INT,table_name,filepath,exp_newpath,exp_size", "INT"},
    {"mail", true, "date", "id,date,subject,source_file,ordinal,row,problems,text", "id"},
    {"address", true, "", "mail,role,position,name,address", "mail"},
    {"label", true, "", "mail,label", "mail"},
    {"reference", true, "", "mail,position,message_id", "mail"},
    {"part", true, "", "mail,path,media_type,name,size,is_text,file", "mail"},
    {"difference", true, "", "mail,row,field,kind,explanation", "mail"},
    {"attachment_file", true, "", "mail,row,kind,part_path,file", "mail"},
};

struct result_column
{
    QByteArray name;
    bool is_time = false;
    bool zero_is_none = false; ///< of a time: rows of Gmail.sqlite have 0 where no date could be read
};

/// A table as it is in an opened result.
struct result_table
{
    const known_table *known;
    QList<result_column> columns; ///< as stored, in their order; a suite may have added some

    [[nodiscard]] QByteArray name() const { return known->name; }
    /// Position of a column, -1 when the table has no such column. Case does not matter.
    [[nodiscard]] qsizetype find(const QByteArray &column) const;
    /// The columns that are times, the most telling one first.
    [[nodiscard]] QList<QByteArray> times() const;
    /// For a query: the condition that a row has a time in this column, one of `times`.
    [[nodiscard]] QByteArray has_time(const QByteArray &time) const;
    /// For a query: the table's name with its database.
    [[nodiscard]] QByteArray sql_name() const;
};

/// A name in quotes, for a query.
[[nodiscard]] QByteArray quoted(const QByteArray &name);
