/// `gmail_host export`: a result as CSV, JSON lines, mail files, or a timeline.
#pragma once

class command_line;

void add_export_command(command_line &line);
