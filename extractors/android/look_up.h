/// Look-ups by key in a source database: one statement, executed for many keys.
#pragma once

#include "common/log_line.h"

#include <QSqlQuery>
#include <QVariant>

#include <compare>
#include <memory>
#include <optional>
#include <span>
#include <vector>

class cancel_flag;
class source_database;
struct select_statement;

/// The integer keys of a table, and in which rows they are; found in one walk, about 16 bytes a row.
class noted_keys
{
public:
    struct row
    {
        qint64 key;
        qint64 number; ///< SQLite's rowid
        auto operator<=>(const row &) const = default;
    };

    /// nullopt when a key is neither an integer nor NULL, when the table has no row numbers, or when `cancelled` was
    /// set.
    [[nodiscard]] static std::optional<noted_keys>
    read_from(const source_database &source, const select_statement &statement, const cancel_flag &cancelled);

    /// The rows with this key, in the order of their numbers.
    [[nodiscard]] std::span<const row> rows_of(qint64 key) const;

    /// Why the walk ended early; empty when all rows were read.
    [[nodiscard]] const QString &error() const { return failure; }

    /// Any one of the keys; nullopt when there are none.
    [[nodiscard]] std::optional<qint64> some_key() const;
    void forget() { rows.clear(); }

private:
    std::vector<row> rows; ///< sorted
    QString failure;
};

/// One way to find the rows of a key; `next` steps through them.
class look_up_answer
{
public:
    look_up_answer() = default;
    virtual ~look_up_answer() = default;
    Q_DISABLE_COPY_MOVE(look_up_answer)

    /// False when there is no further row.
    [[nodiscard]] virtual bool next() = 0;
    /// Why rows are missing; empty when none are missing so far.
    [[nodiscard]] virtual QString error() const;

    QSqlQuery query;
};

/// Executes the statement itself.
class statement_answer : public look_up_answer
{
public:
    [[nodiscard]] bool ask(const QVariant &key);
    [[nodiscard]] bool next() override { return query.next(); }
};

/// Reads the rows that are known to have the key, by their numbers.
class row_number_answer : public look_up_answer
{
public:
    void ask(std::span<const noted_keys::row> rows) { left = rows; }
    [[nodiscard]] bool next() override;
    [[nodiscard]] QString error() const override { return failure; }

private:
    std::span<const noted_keys::row> left;
    QString failure;
};

/// Rows and their order are those of the statement. When SQLite would walk the whole table for each key, the keys are
/// noted in one walk beforehand and their rows are asked for by number. Keys that are not integers, and tables that
/// this does not suit, are looked up with the statement itself.
///
/// A failure, also one between two rows, is logged once for all keys.
class look_up
{
public:
    enum class keys {
        found,  ///< most keys that are looked up have rows
        missing ///< most have none: noting the keys beforehand is worthwhile in any case
    };

    /// `statement` has a key. Failures are logged in the name of `origin`. `cancelled` ends the noting of keys.
    look_up(const source_database &source, const char *statement, const log_origin &origin, keys expected,
            const cancel_flag &cancelled);

    /// Find the rows for `key`; step through them with `next`. False on failure.
    [[nodiscard]] bool ask(const QVariant &key);
    [[nodiscard]] bool next();
    /// A column of the row that `next` found.
    [[nodiscard]] QVariant value(int position) const { return current->query.value(position); }

private:
    void note_keys(const source_database &source, const select_statement &statement, bool walks_table,
                   const cancel_flag &cancelled);
    void log_once(const QString &error, const QString &statement);

    log_origin origin;
    bool logged = false;
    QString refusal; ///< why the table is not read at all
    QString text;
    statement_answer by_statement;
    std::optional<noted_keys> noted;
    std::unique_ptr<row_number_answer> by_row_number;
    look_up_answer *current = nullptr;
};
