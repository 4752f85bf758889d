/// Writes the manual page or the bash completion from the command line's own help: `gmail_help_pages man|completion`.
#include "host/command_line.h"
#include "host/results/result_tables.h"
#include "host/sub_commands.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>
#include <string_view>

namespace {

/// Text escaped for the manual page: no part of it is taken for a request or a hyphen.
std::string roff(std::string_view text)
{
    std::string result;
    for (const char each : text) {
        if ((each == '.' || each == '\'') && (result.empty() || result.ends_with('\n')))
            result += "\\&";
        result += each == '\\' ? std::string("\\e") : each == '-' ? std::string("\\-") : std::string(1, each);
    }
    return result;
}

/// "--limit INT", "RESULT_DIR".
std::string usage_of(const CLI::Option &option)
{
    if (option.get_positional())
        return roff(option.get_name(true));
    std::string usage = "\\fB" + roff(option.get_name(false, true)) + "\\fR";
    if (option.get_type_size() > 0)
        usage += " \\fI" + roff(option.get_type_name()) + "\\fR";
    return usage;
}

void write_options(const CLI::App &command)
{
    for (const CLI::Option *option : command.get_options())
        std::printf(".TP\n%s\n%s\n", usage_of(*option).c_str(), roff(option->get_description()).c_str());
}

/// Lines as they are, under a title.
void write_section(const char *title, std::string_view lines)
{
    std::printf(".SH %s\n.nf\n%s\n.fi\n", title, roff(lines).c_str());
}

void write_manual(const CLI::App &program)
{
    std::printf(".TH GMAIL_HOST 1 \"\" \"gmail_host " GMAIL_VERSION
                "\" \"User Commands\"\n.SH NAME\ngmail_host \\- %s\n",
                roff(program.get_description()).c_str());
    std::printf(".SH SYNOPSIS\n");
    for (const CLI::App *command : program.get_subcommands({})) {
        std::printf(".B gmail_host %s\n[\\fIOPTIONS\\fR]", roff(command->get_name()).c_str());
        for (const CLI::Option *option : command->get_options()) {
            if (option->get_positional())
                std::printf(option->get_required() ? " %s" : " [%s]", roff(option->get_name(true)).c_str());
        }
        std::printf("\n.br\n");
    }
    std::printf(".SH OPTIONS\n");
    write_options(program);
    std::printf(".SH COMMANDS\n");
    for (const CLI::App *command : program.get_subcommands({})) {
        std::printf(".SS gmail_host %s\n%s.\n", roff(command->get_name()).c_str(),
                    roff(command->get_description()).c_str());
        write_options(*command);
    }
    const std::string_view statuses(exit_status_help);
    write_section("\"EXIT STATUS\"", statuses.substr(statuses.find('\n') + 1));
    std::printf(".SH ENVIRONMENT\n.TP\nGMAIL_HOST_PASSWORD\nthe password of an encrypted archive\n.TP\nCOLUMNS\n"
                "the width that show uses on a terminal\n");
}

/// The words that an option accepts, if it accepts only certain ones: "TEXT:{csv,jsonl}" lists them.
std::string words_of(const CLI::Option &option)
{
    const std::string type = option.get_type_name();
    const std::size_t begin = type.find('{'), end = type.find('}');
    if (begin == type.npos || end == type.npos)
        return {};
    std::string words = type.substr(begin + 1, end - begin - 1);
    for (char &each : words)
        each = each == ',' ? ' ' : each;
    return words;
}

std::string option_names(const CLI::App &command)
{
    std::string names;
    for (const CLI::Option *option : command.get_options()) {
        for (const std::string &name : option->get_lnames())
            names += (names.empty() ? "--" : " --") + name;
    }
    return names;
}

void write_completion(const CLI::App &program)
{
    std::string commands;
    for (const CLI::App *command : program.get_subcommands({}))
        commands += command->get_name() + ' ';
    std::printf("# Completion of gmail_host for bash.\n_gmail_host()\n{\n"
                "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} words= options=\n"
                "    COMPREPLY=()\n    if [ \"$COMP_CWORD\" = 1 ]; then\n"
                "        COMPREPLY=($(compgen -W '%s%s' -- \"$word\"))\n        return\n    fi\n"
                "    case ${COMP_WORDS[1]} in\n",
                commands.c_str(), option_names(program).c_str());
    for (const CLI::App *command : program.get_subcommands({})) {
        std::printf("    %s)\n        options='%s'\n        case $before in\n", command->get_name().c_str(),
                    option_names(*command).c_str());
        for (const CLI::Option *option : command->get_options()) {
            const std::string words = words_of(*option);
            if (!words.empty() && !option->get_lnames().empty())
                std::printf("        --%s) words='%s' ;;\n", option->get_lnames().front().c_str(), words.c_str());
        }
        std::printf("        esac\n        ;;\n");
    }
    std::string tables;
    for (const known_table &table : known_tables)
        tables += std::string(tables.empty() ? "" : " ") + table.name;
    std::printf("    esac\n"
                "    [ \"${COMP_WORDS[1]} $COMP_CWORD\" != 'show 3' ] || words='%s'\n"
                "    if [[ $word == -* ]]; then\n        COMPREPLY=($(compgen -W \"$options\" -- \"$word\"))\n"
                "    elif [ -n \"$words\" ]; then\n        COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n    fi\n"
                "}\ncomplete -o default -F _gmail_host gmail_host # names of files where nothing else fits\n",
                tables.c_str());
}

} // namespace

int main(int argc, char *argv[])
{
    command_line line(argc, argv);
    add_sub_commands(line);
    const std::string_view wanted = argc == 2 ? argv[1] : "";
    if (wanted == "man")
        write_manual(line.program());
    else if (wanted == "completion")
        write_completion(line.program());
    else
        return int(exit_status::wrong_usage);
    return std::fflush(stdout) == 0 ? 0 : int(exit_status::output_lost);
}
