/// The command line. Each sub-command adds itself, with its options, from a file of its own; here is what they share.
#pragma once

#include "host/extract_options.h"
#include "host/refusal.h"
#include "host/signal_watch.h"

#include <CLI/CLI.hpp>
#include <QStringList>

#include <functional>
#include <memory>

class QApplication;

/// What the program was started with, and what it was asked to do.
class command_line
{
public:
    command_line(int &argc, char **argv);
    ~command_line();
    Q_DISABLE_COPY_MOVE(command_line)

    /// A new sub-command; `action` is what it does, called once everything is parsed. Its options are to be added to
    /// what is returned; what they write to must live as long as `action` does, so let both share it.
    CLI::App &add(const char *name, const char *description, std::function<exit_status()> action);

    /// What was added, for pages that are made from it.
    [[nodiscard]] const CLI::App &program() const { return parser; }

    /// Parse, then do what the given sub-command does.
    [[nodiscard]] exit_status run();

    /// As given, without the program's name.
    [[nodiscard]] QStringList arguments() const;

    /// The number of arguments and the arguments, as Qt wants them.
    int &count;
    char **const values;

private:
    [[nodiscard]] exit_status refuse_usage(const CLI::ParseError &error) const;

    CLI::App parser;
    std::function<exit_status()> chosen;
};

/// Qt's application object and the watch over signals, for a sub-command that needs them. Make it first of all: no
/// thread may exist before it.
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

/// `bytes` as the user typed them.
[[nodiscard]] QString text_of_argument(const std::string &bytes);

/// Options whose values are texts; `target` must outlive the parser.
CLI::Option *add_text(CLI::App &command, const char *name, QString &target, const char *description);
CLI::Option *add_texts(CLI::App &command, const char *name, QStringList &target, const char *description);

/// Accept one of `known` only; the message names them.
[[nodiscard]] CLI::Validator one_of(const QStringList &known);

/// Accept numbers from `min` on only.
[[nodiscard]] CLI::Validator at_least(int min);

/// `--threads`: how many threads work at the same time.
void add_threads_option(CLI::App &command, int &threads);

/// What every sub-command takes that unpacks sources: how they are recognised, limits, quiet.
void add_unpacking_options(CLI::App &command, source_options &options);

/// The same, and what sub-commands take whose business are the sources: JSON, threads.
void add_source_options(CLI::App &command, source_options &options);

/// The list "SOURCE... RESULT_DIR". One list, since the parser would take everything for a SOURCE as soon as an option
/// follows; `take_result_dir` takes
/// the last of them off.
void add_places(CLI::App &command, source_options &options);
[[nodiscard]] QString take_result_dir(source_options &options);
