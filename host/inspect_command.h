/// `gmail_host inspect`: what a source is and what a run would read of it, without extracting.
#pragma once

class command_line;

void add_inspect_command(command_line &line);
