/// `gmail_host read`, and the process that it starts for parsing.
#pragma once

class command_line;

void add_read_command(command_line &line);
