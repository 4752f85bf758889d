/// The columns of a step's rows, and how each value is made.
#pragma once

#include <QStringList>
#include <QVariant>

#include <optional>

/// Values that do not come from the source column: constants of the step, and texts looked up for the row. A null text
/// is NULL.
struct row_context
{
    std::optional<QString> account; ///< looked up when it is first needed
    QString source_file;
    QString os_scheme_display;
    QString source_count_name;

    // Mails
    QString mailbox;
    QString body_file; ///< relative path
    QString attachment_description;
    QString attachment_preview;
    QString attachment_exports;

    // Attachments
    QString cached_file; ///< relative path
    QString mail_subject;
    QString mail_snippet;

    // Accounts: the address that the row is paired with
    QString paired_name;
    bool pair_matches = false;  ///< that is the row's own address
    QString paired_source_file; ///< the file that lists it
};

struct column
{
    QString (*value)(const row_context &row, const QVariant &read);
    const char *source_column = nullptr; ///< the column that `read` is from; null when nothing is read
    bool is_account = false;             ///< the row needs `row_context::account`
};

/// The kinds of columns. A NULL in the source stays NULL; computed values are never NULL.
namespace columns {

/// NULL as a null text, everything else as SQLite prints it.
[[nodiscard]] QString text_of(const QVariant &read);

/// The unchanged text.
consteval column text(const char *source_column)
{
    return {[](const row_context &, const QVariant &read) { return text_of(read); }, source_column};
}

/// The value of a `seconds` column.
[[nodiscard]] QString seconds_of(const QVariant &milliseconds);

/// Milliseconds since the epoch, as seconds cut towards zero; a blank text gives an empty one, a text that is not a
/// number 0.
consteval column seconds(const char *source_column)
{
    return {[](const row_context &, const QVariant &read) { return seconds_of(read); }, source_column};
}

/// The value of a `yes_no` column.
[[nodiscard]] QString yes_no_of(const QVariant &flag);

/// "YES" for exactly 1, "NO" for everything else.
consteval column yes_no(const char *source_column)
{
    return {[](const row_context &, const QVariant &read) { return yes_no_of(read); }, source_column};
}

/// The value of a `google_time` column.
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
