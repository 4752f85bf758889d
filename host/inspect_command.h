/// `gmail_host inspect`: shows what a source is and which of its files a run would read, without extracting.
#pragma once

class command_line;

void add_inspect_command(command_line &line);
