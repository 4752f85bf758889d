/// `gmail_host verify`: whether a result, and its source, are still as the records of its runs say.
#pragma once

class command_line;

void add_verify_command(command_line &line);
