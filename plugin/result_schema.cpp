/// Every artifact table has four columns at its head, its own columns, and eight at its tail; messages and attachments
/// also have columns for the host's viewer. Upper and lower case of the declared types are part of the contract with
/// hosts.
#include "plugin/result_schema.h"

namespace {

constexpr char head[] = "bookmark INTEGER,INT INTEGER PRIMARY KEY,system_user varchar(500),domain_user varchar(500)";

constexpr char tail[] = "talvo_tag_value VARCHAR(1024),notes_icon VARCHAR(1024),tags_icon VARCHAR(1024),"
                        "os_scheme_display VARCHAR(1024),source_count_name VARCHAR(1024),source_file VARCHAR(1024),"
                        "artifacts_relation_source_file VARCHAR(1024),notes VARCHAR(1024)";

struct artifact_table
{
    const char *name;
    const char *own_columns;
};

constexpr artifact_table artifact_tables[] = {
    {"messages", "id varchar(500),messages_id varchar(500),display_name varchar(500),timestamp INTEGER,"
                 "subject varchar(500),snippet varchar(500),message_text text,has_attachment varchar(500),"
                 "email_attachments varchar(500),account_id varchar(500),mailbox varchar(500),date_sent INTEGER,"
                 "date_received INTEGER,permalink varchar(500),from_list varchar(500),to_list varchar(500),"
                 "cc_list varchar(500),bcc_list varchar(500),reply_to_list varchar(500),snippet_file varchar(500),"
                 "seen varchar(500),LINKFILENAME VARCHAR(1024),preview_file_path varchar(1024),"
                 "export_file_paths varchar(1024),bookmarked_extended_attributes VARCHAR(1024),"
                 "bookmarked_exif_data VARCHAR(1024),extended_attributes_key_value VARCHAR(1024),"
                 "extended_attributes_value_for_search VARCHAR(1024)"},
    {"attachments", "file_name varchar(500),file_path varchar(500),mail_subject varchar(500),"
                    "mail_snippet varchar(500),mime_type varchar(500),size varchar(500),content_id varchar(500),"
                    "content_uri INTEGER,account_id varchar(500),bookmarked_extended_attributes VARCHAR(1024),"
                    "bookmarked_exif_data VARCHAR(1024),extended_attributes_key_value VARCHAR(1024),"
                    "extended_attributes_value_for_search VARCHAR(1024),LINKFILENAME VARCHAR(1024),"
                    "preview_file_path varchar(1024),export_file_paths varchar(1024)"},
    {"accounts", "display_name varchar(500),email_address varchar(500),sender_name varchar(500),"
                 "ringtone_uri varchar(500)"},
    {"mailbox", "display_name varchar(500),server_id varchar(500),sync_time INTEGER,last_touched_time INTEGER,"
                "unread_count varchar(500),message_count varchar(500),total_count varchar(500),"
                "account_id varchar(500)"},
    {"cookies", "host_key varchar(500),name varchar(500),value varchar(500),path varchar(500),"
                "is_secure varchar(500),is_http_only varchar(500),has_expired varchar(500),"
                "is_persistent varchar(500),account_id varchar(500),creation_time INTEGER,expire_time INTEGER,"
                "last_access_time INTEGER"},
};

constexpr char exportfilelist_statement[] =
    "CREATE TABLE IF NOT EXISTS exportfilelist(INT INTEGER PRIMARY KEY,record VARCHAR(150),table_name VARCHAR(100),"
    "filepath VARCHAR(100),exp_newpath VARCHAR(100),exp_relativepath VARCHAR(100),exp_size INTEGER,"
    "exp_hashmd5 VARCHAR(100),exp_hashsha1 VARCHAR(100),exp_LINKFILENAME varchar(500),exp_time INTEGER)";

} // namespace

QList<table_statement> result_schema()
{
    QList<table_statement> schema;
    for (const artifact_table &table : artifact_tables) {
        const QString name = QString::fromLatin1(table.name);
        schema.append({name, QStringLiteral("create table IF NOT EXISTS %1 (%2,%3,%4)")
                                 .arg(name, QLatin1StringView(head), QLatin1StringView(table.own_columns),
                                      QLatin1StringView(tail))});
    }
    schema.append({QStringLiteral("exportfilelist"), QString::fromLatin1(exportfilelist_statement)});
    return schema;
}
