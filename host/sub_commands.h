/// The list of sub-commands, for the program and for pages generated from its help.
#pragma once

class command_line;

/// Add all of them, in the order in which the help lists them.
void add_sub_commands(command_line &line);
