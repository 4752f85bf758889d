/// The program: its list of sub-commands.
#include "host/command_line.h"
#include "host/extract_command.h"
#include "host/inspect_command.h"
#include "host/log_command.h"
#include "host/reading/read_command.h"
#include "host/results/export_command.h"
#include "host/results/report_command.h"
#include "host/results/show_command.h"
#include "host/terminal.h"
#include "host/verify_command.h"

#include <csignal>

int main(int argc, char *argv[])
{
    std::signal(SIGPIPE, SIG_IGN); // a reader that has seen enough ends the output, not the run
    command_line line(argc, argv);
    add_extract_command(line);
    add_read_command(line);
    add_inspect_command(line);
    add_show_command(line);
    add_export_command(line);
    add_report_command(line);
    add_verify_command(line);
    add_log_command(line);
    return int(finish_output(line.run()));
}
