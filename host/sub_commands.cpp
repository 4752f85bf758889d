#include "host/sub_commands.h"

#include "host/extract_command.h"
#include "host/inspect_command.h"
#include "host/log_command.h"
#include "host/reading/read_command.h"
#include "host/results/export_command.h"
#include "host/results/report_command.h"
#include "host/results/show_command.h"
#include "host/verify_command.h"

void add_sub_commands(command_line &line)
{
    add_extract_command(line);
    add_read_command(line);
    add_inspect_command(line);
    add_show_command(line);
    add_export_command(line);
    add_report_command(line);
    add_verify_command(line);
    add_log_command(line);
}
