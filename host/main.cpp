/// The program.
#include "host/command_line.h"
#include "host/sub_commands.h"
#include "host/terminal.h"

#include <csignal>

int main(int argc, char *argv[])
{
    std::signal(SIGPIPE, SIG_IGN); // a reader that has seen enough ends the output, not the run
    command_line line(argc, argv);
    add_sub_commands(line);
    return int(finish_output(line.run()));
}
