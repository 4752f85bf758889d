/// `gmail_host extract`: sources into a result, with a record of the run.
#pragma once

class command_line;

void add_extract_command(command_line &line);
