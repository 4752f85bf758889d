#include "host/results/show_command.h"

#include "host/command_line.h"
#include "host/results/show.h"
#include "host/terminal.h"

#include <unistd.h>

namespace {

struct show_options
{
    QString result_dir;
    QString mail; ///< id of one mail
    row_selection selection;
};

/// The width that the user asks for, else that of the terminal.
int width_of_output()
{
    bool is_number = false;
    const int wished = qEnvironmentVariable("COLUMNS").toInt(&is_number);
    return is_number && wished > 0 ? wished : terminal_width(STDOUT_FILENO);
}

bool has_filters(const row_selection &selection)
{
    const QStringList texts = selection.where + selection.columns +
                              QStringList{selection.search, selection.from,  selection.to,  selection.after,
                                          selection.before, selection.label, selection.sort};
    return !texts.join(QString()).isEmpty() || selection.limit >= 0 || selection.reverse;
}

maybe_refusal check(const show_options &options)
{
    const QString problem =
        !options.mail.isEmpty() && options.selection.table != u"mail"
            ? QStringLiteral("an ID can be given only with the table mail; use --where INT=%1").arg(options.mail)
        : has_filters(options.selection) && options.selection.table.isEmpty()
            ? QStringLiteral("filters need a table: gmail_host show RESULT_DIR messages --where ...")
        : has_filters(options.selection) && !options.mail.isEmpty()
            ? QStringLiteral("a single mail is shown whole, without filters")
            : QString();
    return problem.isEmpty() ? maybe_refusal() : refusal{exit_status::wrong_usage, problem};
}

maybe_refusal show(const show_options &options)
{
    if (maybe_refusal refused = check(options))
        return refused;
    result_reader reader;
    if (maybe_refusal refused = reader.open(options.result_dir))
        return refused;
    const bool on_terminal = isatty(STDOUT_FILENO) != 0;
    const show_layout layout = {on_terminal, on_terminal ? width_of_output() : 0};
    if (options.selection.table.isEmpty())
        return show_overview(reader, layout);
    return options.mail.isEmpty() ? show_rows(reader, options.selection, layout)
                                  : show_mail(reader, options.mail, layout);
}

void add_filters(const sub_command &command, row_selection &selection)
{
    command
        .texts("--where", selection.where,
               "COLUMN=TEXT, or COLUMN~TEXT for columns that contain the text (repeatable; a time may be a day or a "
               "month)")
        .repeatable();
    command.text(
        "--search", selection.search,
        "words that occur in the mail's subject, people, text or names of parts; \"several words\" together, the "
        "beginning of a word with * after it");
    command.text("--from", selection.from, "text in the sender's name or address");
    command.text("--to", selection.to, "text in a recipient's name or address");
    command.text("--after", selection.after,
                 "rows from this time on: 2024, 2024-01-08, \"2024-01-08 08:30\", ... in UTC");
    command.text("--before", selection.before, "rows before this time, in the same forms");
    command.text("--label", selection.label, "one of Gmail's labels");
    command.texts("--columns", selection.columns, "columns to show, separated by commas, or all").separated_by_commas();
    command.number("--limit", selection.limit, "maximum number of rows").at_least(0);
    command.text("--sort", selection.sort, "column to sort by (default: as extracted)");
    command.flag("--reverse", selection.reverse, "last rows first");
}

} // namespace

void add_show_command(command_line &line)
{
    const auto options = std::make_shared<show_options>();
    const sub_command command =
        line.add("show", "Show what a result contains: an overview, a table, or one mail", [options] {
            const maybe_refusal refused = show(*options);
            return refused ? refuse(*refused) : exit_status::done;
        });
    command.text("RESULT_DIR", options->result_dir, "as for extract, or the directory with Gmail.sqlite").required();
    command.text(
        "TABLE", options->selection.table,
        "messages, attachments, accounts, mailbox, cookies, mail, part, difference, ... (an overview if omitted)");
    command.text("ID", options->mail, "with the table mail: id of the mail to show whole");
    add_filters(command, options->selection);
}
