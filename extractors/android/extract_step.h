/// An extract step as a table: what is read, what is written, and which column is made from what.
///
/// A step reads one query of a source database and writes one row per source row. Statements stand as literal text,
/// since failures log them. What the compiler checks of a step: every placeholder of the insert statement has a column,
/// and every source column that is read stands in the query.
#pragma once

#include "extractors/row_writer.h"

#include <QStringList>
#include <QVariant>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string_view>

/// What a value may be made from besides the source column: constants of the step, and what was looked up for the row.
/// A null text is NULL.
struct row_context
{
    std::optional<QString> account; ///< none until it is needed
    QString source_file;
    QString os_scheme_display;
    QString source_count_name;

    // Mails
    QString mailbox;
    QString body_file; ///< relative paths
    QString attachment_description;
    QString attachment_preview;
    QString attachment_exports;

    // Attachments
    QString cached_file; ///< relative path
    QString mail_subject;
    QString mail_snippet;

    // Accounts: the names that each row is paired with, and the one at hand
    QStringList paired_names;
    QString pair_source_file; ///< where names come from that are not the row's own
    QString paired_name;
    bool pair_matches = false; ///< it is the row's own
};

struct column
{
    QString (*value)(const row_context &row, const QVariant &read);
    const char *source_column = nullptr; ///< what `read` is; null when nothing is read
    bool is_account = false;             ///< the row needs `row_context::account`
};

/// The kinds of columns. A NULL in the source stays NULL; what is computed is never NULL.
namespace columns {

[[nodiscard]] QString text_of(const QVariant &read);

consteval column text(const char *source_column)
{
    return {[](const row_context &, const QVariant &read) { return text_of(read); }, source_column};
}

[[nodiscard]] QString seconds_of(const QVariant &milliseconds);

/// Milliseconds since the epoch, as seconds cut towards zero; blank stays empty, other text is 0.
consteval column seconds(const char *source_column)
{
    return {[](const row_context &, const QVariant &read) { return seconds_of(read); }, source_column};
}

[[nodiscard]] QString yes_no_of(const QVariant &flag);

/// "YES" for exactly 1, "NO" for everything else.
consteval column yes_no(const char *source_column)
{
    return {[](const row_context &, const QVariant &read) { return yes_no_of(read); }, source_column};
}

[[nodiscard]] QString google_time_of(const QVariant &microseconds);

/// Microseconds since 1601 as seconds since the epoch.
consteval column google_time(const char *source_column)
{
    return {[](const row_context &, const QVariant &read) { return google_time_of(read); }, source_column};
}

/// A value of the row's context.
template <auto member>
consteval column from_context()
{
    return {[](const row_context &row, const QVariant &) { return row.*member; }};
}

inline constexpr column account = {
    [](const row_context &row, const QVariant &) { return row.account.value_or(QString()); }, nullptr, true};
inline constexpr column source_file = from_context<&row_context::source_file>();
inline constexpr column os_scheme_display = from_context<&row_context::os_scheme_display>();
inline constexpr column source_count_name = from_context<&row_context::source_count_name>();

} // namespace columns

class extract_step
{
public:
    static constexpr std::size_t max_columns = 24;

    /// How the line of a source that cannot be opened goes on.
    enum class open_failure { bare, with_path };

    /// `paired_column`: each row is written once per name of a list; a name that equals this column is the row's own.
    template <std::size_t count>
    consteval extract_step(const char *select_statement, const char *insert_statement, const column (&values)[count],
                           const char *paired_column_name = nullptr, open_failure wording = open_failure::bare)
        : select(select_statement)
        , insert(insert_statement)
        , columns(values)
        , paired_position(paired_column_name ? position_of(paired_column_name) : -1)
        , open_failure_wording(wording)
        , uses_account(std::ranges::any_of(values, &column::is_account))
    {
        if (std::ranges::count(std::string_view(insert), '?') != count)
            throw "placeholders and columns of a step differ";
        static_assert(count <= max_columns);
        for (std::size_t i = 0; i < count; ++i)
            positions[i] = values[i].source_column ? position_of(values[i].source_column) : -1;
    }

    /// The position of a source column in the rows of the query. A name that is not selected does not compile; names
    /// are compared as a whole, without regard to case, as SQLite does.
    [[nodiscard]] consteval int position_of(std::string_view name) const
    {
        const auto lower = [](char letter) { return letter >= 'A' && letter <= 'Z' ? char(letter + 32) : letter; };
        std::string_view list(select);
        list = list.substr(list.find(' '), list.rfind(" from ") - list.find(' '));
        for (int position = 0; !list.empty(); ++position) {
            std::string_view selected = list.substr(0, list.find(','));
            list.remove_prefix(std::min(selected.size() + 1, list.size()));
            selected.remove_prefix(std::min(selected.find_first_not_of(' '), selected.size()));
            selected = selected.substr(0, selected.find(' '));
            if (std::ranges::equal(selected, name, {}, lower, lower))
                return position;
        }
        throw "a source column is not selected";
    }

    const char *select;
    const char *insert;
    std::span<const column> columns;
    int paired_position;                         ///< -1 without a paired column
    std::array<int, max_columns> positions = {}; ///< of the columns in the rows of the query, -1 where nothing is read
    open_failure open_failure_wording;
    bool uses_account;
};
