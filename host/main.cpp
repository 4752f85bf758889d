/// The command line. Everything else stands in one file per sub-command and concern.
#include "host/evidence.h"
#include "host/extract_command.h"
#include "host/inspect_command.h"
#include "host/log_command.h"
#include "host/signal_watch.h"
#include "host/terminal.h"
#include "host/verify_command.h"

#include <CLI/CLI.hpp>
#include <QApplication>

#include <csignal>

namespace {

/// The command line's texts, as the parser keeps them.
struct raw_options
{
    std::string scheme, source_type, scheme_display, account, os_version, log_path, library, examiner, case_name;
    std::vector<std::string> sources, tables, users;
    bool no_log = false, no_hash = false;
    std::string log_to_read, result_to_verify;
};

QString text(const std::string &bytes)
{
    return QString::fromLocal8Bit(bytes);
}

QStringList texts(const std::vector<std::string> &list)
{
    QStringList result;
    for (const std::string &bytes : list)
        result.append(text(bytes));
    return result;
}

/// One of `known`; the message names them.
CLI::Validator one_of(const QStringList &known)
{
    return {
        [known](const std::string &given) {
            if (known.contains(text(given)))
                return std::string();
            const QString what = given.empty() ? QStringLiteral("is empty")
                                               : QLatin1Char('"') + text(given) + QStringLiteral("\" is not known");
            return QString(what + QStringLiteral("; choose from ") + known.join(QStringLiteral(", "))).toStdString();
        },
        std::string()};
}

std::string not_negative(const std::string &given)
{
    return given.starts_with('-') ? given + " is negative" : std::string();
}

/// What both `extract` and `inspect` take.
void add_source_options(CLI::App &command, raw_options &raw, extract_options &options)
{
    command.add_option("--scheme", raw.scheme, "os scheme of the source (found from SOURCE when left out)")
        ->check(one_of(os_schemes()));
    command.add_flag("--accept-missing-parts", options.accept_missing_parts,
                     "read a Takeout export of which parts are missing");
    staging_limits &limits = options.limits;
    const auto add_limit = [&command](const char *name, qint64 &limit, const char *description) {
        command.add_option(name, limit, description)->check(not_negative)->capture_default_str();
    };
    add_limit("--max-bytes", limits.most_bytes, "most bytes to unpack from archives");
    add_limit("--max-members", limits.most_members, "most members of archives");
    add_limit("--max-ratio", limits.highest_ratio, "most bytes unpacked for a byte of an archive");
    add_limit("--keep-free", limits.kept_free, "bytes to keep free on the disk that is unpacked to");
    command.add_flag("--json", options.json, "print JSON");
    command.add_flag("--quiet", options.quiet, "show no progress");
}

void add_extract(CLI::App &app, raw_options &raw, extract_options &options)
{
    CLI::App *extract = app.add_subcommand("extract", "Extract sources into a result database");
    // One list: the parser would take everything for a SOURCE as soon as an option follows.
    extract
        ->add_option(
            "SOURCE... RESULT_DIR", raw.sources,
            "directories, archives (zip, tar, 7z, Android backup) or mbox files; the parts of a Takeout export "
            "count as one. The password of an enciphered archive is asked for, or taken from the environment "
            "variable GMAIL_HOST_PASSWORD. Last, the directory for Artifacts_Result/Gmail/")
        ->required()
        ->expected(2, CLI::detail::expected_max_vector_size);
    add_source_options(*extract, raw, options);
    extract->add_option("--tables", raw.tables, "tables to fill, separated by commas (all five when left out)")
        ->delimiter(',')
        ->allow_extra_args(false) // would take what comes behind for tables
        ->check(one_of(artifact_tables()));
    extract->add_option("--engine", options.engine, "engine type (0; others extract no rows)");
    extract->add_option("--source-count", options.source_count, "number of the source (1)");
    extract->add_option("--source-type", raw.source_type, "type of the source");
    extract->add_option("--scheme-display", raw.scheme_display, "text for the column os_scheme_display");
    extract->add_option("--account", raw.account, "account of a Takeout source, for the column account_id");
    extract->add_option("--os-version", raw.os_version, "version of the source's operating system");
    extract->add_option("--user", raw.users, "user account of the source, NAME or NAME:DOMAIN (repeatable)")
        ->allow_extra_args(false);
    extract->add_option("--log", raw.log_path, "debug log (gmail.log beside the result database)");
    extract->add_flag("--no-log", raw.no_log, "write no debug log; failures cannot be counted then");
    extract->add_flag("--encrypt-log", options.encrypt_log, "encipher the debug log");
    extract->add_flag("--log-on-terminal", options.log_on_terminal, "write the log to standard error, too");
    auto *clear = extract->add_flag("--clear", options.clear,
                                    "empty the chosen tables first (with messages, the Attachments folder, too)");
    extract->add_flag("--append", options.append, "add to a result that holds rows already")->excludes(clear);
    extract->add_option("--library", raw.library, "the plug-in's library");
    extract->add_flag("--no-hash", raw.no_hash, "neither hash nor count the source before the extraction");
    extract->add_option("--examiner", raw.examiner, "text for run.json");
    extract->add_option("--case", raw.case_name, "text for run.json");
}

/// Shows the list of places as two.
class place_formatter : public CLI::Formatter
{
public:
    std::string make_option_usage(const CLI::Option *option) const override
    {
        return option->get_expected_min() > 1 ? option->get_name(true) : CLI::Formatter::make_option_usage(option);
    }
};

void take_over(const raw_options &raw, extract_options &options)
{
    options.sources = texts(raw.sources);
    options.scheme = text(raw.scheme);
    options.tables = raw.tables.empty() ? artifact_tables() : texts(raw.tables);
    options.tables.removeDuplicates();
    options.source_type = text(raw.source_type);
    options.scheme_display = text(raw.scheme_display);
    options.account = text(raw.account);
    options.os_version = text(raw.os_version);
    options.users = texts(raw.users);
    options.log_file = text(raw.log_path);
    options.log = !raw.no_log;
    options.library = text(raw.library);
    options.hash = !raw.no_hash;
    options.examiner = text(raw.examiner);
    options.case_name = text(raw.case_name);
}

} // namespace

namespace {

exit_status run(int argc, char *argv[])
{
    raw_options raw;
    extract_options options;
    CLI::App app("Runs the Gmail artifact plug-in without the suite.", "gmail_host");
    app.require_subcommand(1);
    app.formatter(std::make_shared<place_formatter>());
    app.set_version_flag("--version", GMAIL_VERSION);
    app.footer(exit_status_help);
    app.failure_message([](const CLI::App *, const CLI::Error &error) {
        return std::string("gmail_host: ") + error.what() + " (see gmail_host --help)\n";
    });
    add_extract(app, raw, options);
    CLI::App *inspect = app.add_subcommand("inspect", "Tell what sources hold, without extracting");
    inspect->add_option("SOURCE", raw.sources, "as for extract")->required();
    add_source_options(*inspect, raw, options);
    CLI::App *verify = app.add_subcommand("verify", "Compare a result, and its source, with the record of the run");
    verify->add_option("RESULT_DIR", raw.result_to_verify, "as for extract")->required();
    CLI::App *log = app.add_subcommand("log", "Print a debug log, deciphered where it is enciphered");
    log->add_option("FILE", raw.log_to_read, "the log")->required();
    for (CLI::App *command : app.get_subcommands({}))
        command->footer(exit_status_help);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? exit_status::done : exit_status::wrong_usage;
    }
    if (log->parsed())
        return run_log_command(text(raw.log_to_read));
    if (verify->parsed())
        return run_verify_command(text(raw.result_to_verify));

    signal_watch signals_watched; // before Qt starts threads that would take the signals
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen"); // the plug-in is a widget, but never shown
    // What Qt says while it starts (an unset XDG_RUNTIME_DIR, say) is of no use to an examiner.
    const QtMessageHandler default_handler =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const QApplication application(argc, argv);
    qInstallMessageHandler(default_handler);
    take_over(raw, options);
    if (inspect->parsed())
        return run_inspect_command(options, signals_watched);
    options.result_dir = options.sources.takeLast();
    for (int i = 1; i < argc; ++i)
        options.arguments.append(QString::fromLocal8Bit(argv[i]));
    return run_extract_command(options, signals_watched);
}

} // namespace

int main(int argc, char *argv[])
{
    std::signal(SIGPIPE, SIG_IGN); // a reader that has seen enough ends the output, not the run
    return int(finish_output(run(argc, argv)));
}
