/// `gmail_host log`: prints a debug log as plain lines, enciphered or not.
#pragma once

class command_line;

void add_log_command(command_line &line);
