#include "host/command_line.h"

#include "host/evidence.h"
#include "host/terminal.h"

#include <CLI/CLI.hpp>
#include <QApplication>
#include <QDir>
#include <QFileInfo>

#include <thread>

#include <pwd.h>
#include <unistd.h>

namespace {

/// Shows the one list of places as two arguments.
class place_formatter : public CLI::Formatter
{
public:
    std::string make_option_usage(const CLI::Option *option) const override
    {
        return option->get_expected_min() > 1 ? option->get_name(true) : CLI::Formatter::make_option_usage(option);
    }
};

/// The directory that Qt creates at start-up if XDG_RUNTIME_DIR is not set.
QString default_runtime_directory()
{
    const passwd *user = getpwuid(geteuid());
    const QString name = user ? QString::fromLocal8Bit(user->pw_name) : QString::number(geteuid());
    return QDir::tempPath() + QLatin1StringView("/runtime-") + name;
}

/// `bytes` as the user typed them.
QString text_of_argument(const std::string &bytes)
{
    return QString::fromLocal8Bit(bytes);
}

} // namespace

// ---- The whole line -------------------------------------------------------------------------------------------------

command_line::command_line(int &argc, char **argv)
    : count(argc)
    , values(argv)
    , parser(std::make_unique<CLI::App>("Runs the Gmail artifact plug-in without the suite.", "gmail_host"))
{
    parser->require_subcommand(1);
    parser->formatter(std::make_shared<place_formatter>());
    parser->set_version_flag("--version", GMAIL_VERSION);
    parser->footer(exit_status_help);
}

command_line::~command_line() = default;

sub_command command_line::add(const char *name, const char *description, std::function<exit_status()> action)
{
    CLI::App *command = parser->add_subcommand(name, description);
    command->footer(exit_status_help);
    command->callback([this, action = std::move(action)] { chosen = action; });
    return sub_command(command);
}

exit_status command_line::run()
{
    try {
        parser->parse(count, values);
    } catch (const CLI::ParseError &error) {
        return error.get_exit_code() == 0 ? static_cast<exit_status>(parser->exit(error)) : refuse_usage(error);
    }
    return chosen();
}

exit_status command_line::refuse_usage(const CLI::ParseError &error) const
{
    QString what = QString::fromLocal8Bit(error.what()).simplified();
    const QStringList given = arguments();
    if (parser->get_subcommands().empty() && !given.isEmpty() && !given.first().startsWith(u'-')) {
        QStringList known;
        for (const CLI::App *command :
             parser->get_subcommands([](const CLI::App *each) { return !each->get_group().empty(); }))
            known.append(text_of_argument(command->get_name()));
        what = QLatin1Char('"') + given.first() + QLatin1StringView("\" is not a sub-command; choose from ") +
               known.join(QLatin1StringView(", "));
    }
    return refuse({exit_status::wrong_usage, what + QLatin1StringView(" (see gmail_host --help)")},
                  given.contains(QLatin1StringView("--json")));
}

QStringList command_line::arguments() const
{
    QStringList given;
    for (int i = 1; i < count; ++i)
        given.append(QString::fromLocal8Bit(values[i]));
    return given;
}

application::application(const command_line &line)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen"); // the plug-in is a widget, but never shown
    // Qt's messages during start-up (about an unset XDG_RUNTIME_DIR, say) are of no use to an examiner.
    const QtMessageHandler default_handler =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const QString runtime_directory = default_runtime_directory();
    const bool was_there = QFileInfo::exists(runtime_directory);
    qt = std::make_unique<QApplication>(line.count, line.values);
    if (!was_there)
        QDir().rmdir(runtime_directory); // leave nothing in the temporary directory
    qInstallMessageHandler(default_handler);
}

application::~application() = default;

// ---- Options of a sub-command ---------------------------------------------------------------------------------------

const command_option &command_option::required() const
{
    option->required();
    return *this;
}

const command_option &command_option::repeatable() const
{
    option->allow_extra_args(false); // else it would take the arguments after it as values
    return *this;
}

const command_option &command_option::separated_by_commas() const
{
    option->delimiter(',');
    return repeatable();
}

const command_option &command_option::one_of(const QStringList &known) const
{
    const auto problem = [known](const std::string &given) {
        const QString text = text_of_argument(given);
        if (known.contains(text))
            return std::string();
        const QString what =
            text.isEmpty() ? QStringLiteral("is empty") : QLatin1Char('"') + text + QStringLiteral("\" is not known");
        return QString(what + QStringLiteral("; choose from ") + known.join(QStringLiteral(", "))).toStdString();
    };
    option->check(CLI::Validator(problem, '{' + known.join(u',').toStdString() + '}')); // the braces are for the help
    return *this;
}

const command_option &command_option::at_least(int min) const
{
    const auto problem = [min](const std::string &given) {
        bool is_number = false;
        const qlonglong number = text_of_argument(given).toLongLong(&is_number);
        return is_number && number < min ? given + " is less than " + std::to_string(min) : std::string();
    };
    option->check(CLI::Validator(problem, std::string()));
    return *this;
}

const command_option &command_option::excludes(const command_option &other) const
{
    option->excludes(other.option);
    return *this;
}

const command_option &command_option::show_default() const
{
    option->capture_default_str();
    return *this;
}

command_option sub_command::text(const char *name, const std::function<void(const QString &)> &take,
                                 const char *description) const
{
    return command_option(command->add_option_function<std::string>(
        name, [take](const std::string &given) { take(text_of_argument(given)); }, description));
}

command_option sub_command::text(const char *name, QString &target, const char *description) const
{
    return text(
        name, [&target](const QString &given) { target = given; }, description);
}

command_option sub_command::texts(const char *name, QStringList &target, const char *description) const
{
    const auto take = [&target](const std::vector<std::string> &given) {
        target.clear();
        for (const std::string &each : given)
            target.append(text_of_argument(each));
    };
    return command_option(command->add_option_function<std::vector<std::string>>(name, take, description));
}

command_option sub_command::number(const char *name, int &target, const char *description) const
{
    return command_option(command->add_option(name, target, description));
}

command_option sub_command::number(const char *name, qint64 &target, const char *description) const
{
    return command_option(command->add_option(name, target, description));
}

command_option sub_command::flag(const char *name, bool &target, const char *description, bool value) const
{
    return command_option(command->add_flag_callback(
        name, [&target, value] { target = value; }, description));
}

void sub_command::hide() const
{
    command->group("");
}

void sub_command::end_help_with(const char *lines) const
{
    command->footer(lines);
}

// ---- Options of several sub-commands --------------------------------------------------------------------------------

void add_threads_option(const sub_command &command, int &threads)
{
    threads = qMax(1, static_cast<int>(std::thread::hardware_concurrency()));
    command.number("--threads", threads, "number of threads (one per processor)").at_least(1);
}

void add_unpacking_options(const sub_command &command, source_options &options)
{
    command.text("--scheme", options.scheme, "os scheme of the source (recognised from SOURCE if omitted)")
        .one_of(os_schemes());
    command.flag("--accept-missing-parts", options.accept_missing_parts,
                 "read a Takeout export even if parts are missing");
    staging_limits &limits = options.limits;
    const auto add_limit = [&command](const char *name, qint64 &limit, const char *description) {
        command.number(name, limit, description).at_least(0).show_default();
    };
    add_limit("--max-bytes", limits.max_bytes, "maximum bytes to unpack from archives");
    add_limit("--max-members", limits.max_members, "maximum members of archives");
    add_limit("--max-ratio", limits.max_ratio, "maximum unpacked bytes per archive byte");
    add_limit("--keep-free", limits.min_free, "bytes to leave free on the disk used for unpacking");
    command.flag("--quiet", options.quiet, "show no progress");
}

void add_source_options(const sub_command &command, source_options &options)
{
    add_unpacking_options(command, options);
    add_threads_option(command, options.threads);
    command.flag("--json", options.json, "print JSON");
}

void add_places(const sub_command &command, source_options &options)
{
    command
        .texts("SOURCE... RESULT_DIR", options.sources,
               "directories, archives (zip, tar, 7z, Android backup) or mbox files; the parts of a Takeout export "
               "count as one. The password of an encrypted archive is asked for, or taken from the environment "
               "variable GMAIL_HOST_PASSWORD. Last, the directory for Artifacts_Result/Gmail/")
        .required()
        .option->expected(2, CLI::detail::expected_max_vector_size);
}

QString take_result_dir(source_options &options)
{
    return options.sources.takeLast();
}
