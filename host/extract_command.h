/// `gmail_host extract`: extracts sources into a result and writes a record of the run.
#pragma once

class command_line;

void add_extract_command(command_line &line);
