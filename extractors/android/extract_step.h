/// An extract step as a constant: the query, the insert statement, and how each column is made.
///
/// A step reads one query of a source database and writes rows for each row of it. Statements are literal texts,
/// because failures log them. The compiler checks that every placeholder of the insert statement has a column, and that
/// every source column that is read is selected.
#pragma once

#include "extractors/android/columns.h"

#include <algorithm>
#include <array>
#include <memory>
#include <span>
#include <string_view>

class QSqlQuery;
class source_database;
class step_runner;

/// The look-ups of a step in one source database. They live as long as it is open.
class row_look_ups
{
public:
    row_look_ups() = default;
    virtual ~row_look_ups() = default;
    Q_DISABLE_COPY_MOVE(row_look_ups)

    /// Fill in the context for a row of the source database. Returns the number of rows to write for it.
    [[nodiscard]] virtual qsizetype fill(const QSqlQuery &row, row_context &context) = 0;

    /// Called before each of these rows is written, to fill in texts that only it needs.
    virtual void turn_to(qsizetype number, const QSqlQuery &row, row_context &context);
};

class extract_step
{
public:
    static constexpr std::size_t max_columns = 24;

    /// Whether the log line of a source database that cannot be opened contains its path, or a later line does.
    enum class open_failure { bare, with_path };

    /// Makes the look-ups of a step; null for a step that looks up nothing.
    using look_up_maker = std::unique_ptr<row_look_ups> (*)(const source_database &source, step_runner &runner);

    template <std::size_t count>
    consteval extract_step(const char *select_statement, const char *insert_statement, const column (&values)[count],
                           look_up_maker maker = nullptr, open_failure wording = open_failure::bare)
        : select(select_statement)
        , insert(insert_statement)
        , columns(values)
        , make_look_ups(maker)
        , open_failure_wording(wording)
        , uses_account(std::ranges::any_of(values, &column::is_account))
    {
        if (std::ranges::count(std::string_view(insert), '?') != count)
            throw "placeholders and columns of a step differ";
        static_assert(count <= max_columns);
        for (std::size_t i = 0; i < count; ++i)
            positions[i] = values[i].source_column ? position_of(values[i].source_column) : -1;
    }

    /// The position of a source column in the rows of the query. A name that is not selected does not compile. Names
    /// are compared whole, ignoring case, as SQLite does.
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

    /// The values of a row to write, in the order of the insert statement's placeholders.
    [[nodiscard]] QStringList values_of(const QSqlQuery &row, const row_context &context) const;

    const char *select;
    const char *insert;
    std::span<const column> columns;
    look_up_maker make_look_ups;
    open_failure open_failure_wording;
    bool uses_account;

private:
    std::array<int, max_columns> positions = {}; ///< of the columns in the rows of the query, -1 where nothing is read
};

/// The steps, one file for each table of the result.
extern const extract_step mail_step;             ///< mails.cpp: mails of the provider database
extern const extract_step store_mail_step;       ///< mails.cpp: mails of the accounts' mail stores
extern const extract_step attachment_step;       ///< attachments.cpp: attachments of the provider database
extern const extract_step store_attachment_step; ///< attachments.cpp: attachments of the accounts' mail stores
extern const extract_step mailbox_step;          ///< mailboxes.cpp
extern const extract_step account_step;          ///< accounts.cpp
extern const extract_step cookie_step;           ///< cookies.cpp
