/// Log calls that cost one test while the debug log is off.
///
///     log_line("[find_source_file] starts");
///     log_line("[start_mbox_parsing] File Open Failed:", file.fileName());    // joined only when the log is on
///     const log_span span("[emlx_subject] -Start", "[emlx_subject] -End");     // both lines, on every path
///     log_line({" Source Db opening ---FAILED----", origin});                  // in the name of another function
///
/// A line names the function that the call is in. Inside a lambda the compiler names the lambda: create a `const
/// log_origin origin;` before it.
#pragma once

#include "common/plugin_static_function.h"

#include <initializer_list>
#include <source_location>

/// The function in whose name log lines are written: by default the one that creates the object.
class log_origin
{
public:
    // NOLINTNEXTLINE(google-explicit-constructor): the default argument has to be the caller's place
    log_origin(std::source_location where = std::source_location::current())
        : function(where.function_name())
    {
    }

    /// By its signature text, for work that is logged in the name of a published operation but done elsewhere.
    explicit log_origin(const char *signature_text)
        : function(signature_text)
    {
    }

    /// The function's full signature text, such as "void gmail::create_db_tables()".
    [[nodiscard]] QString signature() const { return QString::fromLatin1(function); }

    /// The same for all log lines of one place in the code.
    [[nodiscard]] const void *identity() const { return function; }

private:
    const char *function;
};

/// The fixed first piece of a line, together with the function it comes from.
class log_head
{
public:
    // NOLINTBEGIN(google-explicit-constructor): calls read as log_line("text")
    log_head(const char *fixed_text, log_origin origin = std::source_location::current())
        : text(fixed_text)
        , from(origin)
    {
    }
    // NOLINTEND(google-explicit-constructor)

    QLatin1StringView text;
    log_origin from;
};

/// Write one line, joined from its pieces, as `plugin_static_function::app_debug` does. The slow half of `log_line`.
void write_log_line(const log_head &head, std::initializer_list<QStringView> pieces);

/// Write one line, if the debug log is on. Pieces are texts.
template <class... Pieces>
void log_line(const log_head &head, const Pieces &...pieces)
{
    if (plugin_static_function::debug_mode_status_bool) [[unlikely]]
        write_log_line(head, {QStringView(pieces)...});
}

/// One line now and one when the scope is left, on every path.
class log_span
{
public:
    log_span(const log_head &start, const char *end_text)
        : end(end_text, start.from)
    {
        log_line(start);
    }
    ~log_span() { log_line(end); }
    Q_DISABLE_COPY_MOVE(log_span)

private:
    log_head end;
};
