/// The command line: code that the sub-commands share. Each one adds itself and its options in a file of its own.
#pragma once

#include "host/extract_options.h"
#include "host/refusal.h"
#include "host/signal_watch.h"

#include <QStringList>

#include <functional>
#include <memory>

class QApplication;

// CLI11, which does the parsing, takes long to compile: only command_line.cpp and help_pages.cpp include it.
namespace CLI {
class App;
class Option;
class ParseError;
} // namespace CLI

/// An option of a sub-command; its operations refine it.
class command_option
{
public:
    explicit command_option(CLI::Option *of)
        : option(of)
    {
    }

    const command_option &required() const;
    /// Given several times, each time with one value.
    const command_option &repeatable() const;
    /// Its values may be separated by commas.
    const command_option &separated_by_commas() const;
    /// Accept only one of `known`; the error message lists them.
    const command_option &one_of(const QStringList &known) const;
    /// Accept only numbers of at least `min`.
    const command_option &at_least(int min) const;
    /// Refuse the two options together.
    const command_option &excludes(const command_option &other) const;
    /// Show its current value as the default in the help.
    const command_option &show_default() const;

    CLI::Option *option;
};

/// A sub-command, to which options are added. Their targets must live as long as its action, so let both share them. A
/// name without hyphens adds an argument, not an option.
class sub_command
{
public:
    explicit sub_command(CLI::App *of)
        : command(of)
    {
    }

    command_option text(const char *name, QString &target, const char *description) const;
    command_option text(const char *name, const std::function<void(const QString &)> &take,
                        const char *description) const;
    command_option texts(const char *name, QStringList &target, const char *description) const;
    command_option number(const char *name, int &target, const char *description) const;
    command_option number(const char *name, qint64 &target, const char *description) const;
    /// Sets `target` to `value` when it is given.
    command_option flag(const char *name, bool &target, const char *description, bool value = true) const;

    /// Leave it out of the help and the manual.
    void hide() const;
    /// Lines at the end of its help, in place of the list of exit statuses.
    void end_help_with(const char *lines) const;

private:
    CLI::App *command;
};

/// The program's arguments and its sub-commands.
class command_line
{
public:
    command_line(int &argc, char **argv);
    ~command_line();
    Q_DISABLE_COPY_MOVE(command_line)

    /// Add a sub-command; `action` is called once everything is parsed.
    sub_command add(const char *name, const char *description, std::function<exit_status()> action);

    /// The parser, for pages generated from it.
    [[nodiscard]] const CLI::App &program() const { return *parser; }

    /// Parse, then run the chosen sub-command.
    [[nodiscard]] exit_status run();

    /// As given, without the program's name.
    [[nodiscard]] QStringList arguments() const;

    /// The number of arguments and the arguments, as Qt wants them.
    int &count;
    char **const values;

private:
    [[nodiscard]] exit_status refuse_usage(const CLI::ParseError &error) const;

    std::unique_ptr<CLI::App> parser;
    std::function<exit_status()> chosen;
};

/// Qt's application object and the watch over signals, for a sub-command that needs them. Create it first: no thread
/// may exist before it.
class application
{
public:
    explicit application(const command_line &line);
    ~application();
    Q_DISABLE_COPY_MOVE(application)

    signal_watch signals_watched;

private:
    std::unique_ptr<QApplication> qt;
};

/// `--threads`: the number of threads.
void add_threads_option(const sub_command &command, int &threads);

/// Options of every sub-command that unpacks sources: how they are recognised, limits, quiet.
void add_unpacking_options(const sub_command &command, source_options &options);

/// The same, with JSON and threads, for sub-commands that are about sources.
void add_source_options(const sub_command &command, source_options &options);

/// The list "SOURCE... RESULT_DIR". One list, since the parser would take everything for a SOURCE as soon as an option
/// follows; `take_result_dir` removes the last element.
void add_places(const sub_command &command, source_options &options);
[[nodiscard]] QString take_result_dir(source_options &options);
