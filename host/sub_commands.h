/// The list of sub-commands: of the program, and of what is made from its help.
#pragma once

class command_line;

/// Add all of them, in the order in which they are listed.
void add_sub_commands(command_line &line);
