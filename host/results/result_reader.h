/// Opens a result for reading. Nothing is written, neither to its files nor beside them, and no lock is taken, so a run
/// or the suite is never held up; a file that changes while it is read is refused instead.
#pragma once

#include "host/refusal.h"
#include "host/results/result_tables.h"
#include "host/sqlite.h"

#include <QJsonObject>

/// A database file as it was when it was opened.
struct opened_file
{
    QString path;
    quint64 number = 0; ///< its inode
    qint64 size = 0;
    qint64 modified = 0; ///< nanoseconds since the epoch

    /// Record the file's present state; refused when it is not there, cannot be read, or is being written.
    [[nodiscard]] maybe_refusal look(const QString &file);
    /// Whether it is still the same.
    [[nodiscard]] bool unchanged() const;
};

class result_reader
{
public:
    /// Open the result in `given`: a RESULT_DIR, or the directory that contains Gmail.sqlite. Refused, with status 5,
    /// when there is none, when it is damaged or being written, or when its tables are those of another version.
    [[nodiscard]] maybe_refusal open(const QString &given);

    /// Directory of Gmail.sqlite, ends in "/". It contains `Attachments/`, `Parts/`, `Mail.sqlite` and `run.json`.
    [[nodiscard]] const QString &directory() const { return place; }
    [[nodiscard]] QString database() const { return rows.path; }

    /// Why no mail can be shown: Mail.sqlite is missing, damaged, being written, or of another version. Empty when the
    /// tables of the mail can be queried.
    [[nodiscard]] const maybe_refusal &mail_problem() const { return no_mail; }
    [[nodiscard]] bool has_mail() const { return !no_mail; }

    /// The tables there are: those of Gmail.sqlite, then those of Mail.sqlite.
    [[nodiscard]] const QList<result_table> &tables() const { return found_tables; }
    /// One of them, null when there is none of that name.
    [[nodiscard]] const result_table *table(const QByteArray &name) const;

    /// The contents of run.json, without its list of attachments, which may be very long; empty when there is no
    /// run.json, as in a result of the suite, or when it cannot be read.
    [[nodiscard]] QJsonObject run_record() const;

    /// Rows of a query. In it the tables of the mail have the prefix "mail_db.".
    [[nodiscard]] sqlite_statement query(const QByteArray &sql, const query_values &values = {}) const
    {
        return {connection, sql, values};
    }

    /// Call it after a query's last row: why reading stopped before the end. Empty when all is well.
    [[nodiscard]] maybe_refusal failure(const sqlite_statement &query) const;

    /// Why the values read cannot be relied on: a file was changed since it was opened. Call it at the end.
    [[nodiscard]] maybe_refusal changed() const;

private:
    [[nodiscard]] maybe_refusal open_rows();
    [[nodiscard]] maybe_refusal open_mail();
    [[nodiscard]] maybe_refusal find_tables(bool of_mail);
    [[nodiscard]] maybe_refusal damaged(const QString &path, const QString &words) const;
    [[nodiscard]] maybe_refusal compare_columns() const;

    QString place;
    opened_file rows, mail;
    sqlite_connection connection;
    QList<result_table> found_tables;
    maybe_refusal no_mail;
};
