#include "extractors/gmail_ios_uid.h"

#include "common/log_line.h"

void gmail_ios_uid::ios_uid_set_ios_backup_pointer(ios_uid_backup_parser *backup_parser)
{
    ios_backup_parser_obj = backup_parser;
}

void gmail_ios_uid::find_source_file()
{
    const log_span span("[find_source_file] Starts", "[find_source_file] Ends");
}
