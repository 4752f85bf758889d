/// `gmail_host report`: a result as a page that opens in a browser from the disk.
#pragma once

class command_line;

void add_report_command(command_line &line);
