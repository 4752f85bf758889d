/// `gmail_host verify`: checks whether a result and its source still match the records of its runs.
#pragma once

class command_line;

void add_verify_command(command_line &line);
