/// `gmail_host show`: a result on the terminal, its tables, and single mails.
#pragma once

class command_line;

void add_show_command(command_line &line);
