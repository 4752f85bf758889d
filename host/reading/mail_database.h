/// `Mail.sqlite`: its tables, and writing to them.
///
/// It is filled in two phases by one process through one object of this class. Phase 1 (reading) inserts the mails of
/// all sources in their order, with their addresses, labels, references and parts; it needs no rows and runs during the
/// extraction. Phase 2 (comparison) begins once the extraction has ended: it finds the row of each mail and writes
/// `set_row`, `difference` and `attachment_file`. Phase 2 gets everything from phase 1 through the database: the mails
/// themselves, and `temp.row_separator (source_file_number, ordinal, offset, mail, digest, expected_row)`, a temporary
/// table with the lines at which the plug-in begins messages. A file's n-th separator is completed, and so becomes a
/// row, when there is an n+1-th one; `source_file_number` is 1 for the first file of this run, and so on.
///
/// Mails of earlier runs (`--append`) are in the database, too; those of this run have an id of `first_mail()` or more.
#pragma once

#include "host/reading/mail_record.h"
#include "host/refusal.h"
#include "host/sqlite.h"

#include <QString>

/// A line of `difference`.
struct mail_difference
{
    std::optional<qint64> mail; ///< none for a row of lines before the first mail
    std::optional<qint64> row;
    QByteArray field; ///< a column of `messages`, or "row"
    QByteArray kind;  ///< "missing", "shortened", "undecoded", "other" or "surplus"
    QByteArray explanation;
};

/// A line of `attachment_file`.
struct stored_attachment
{
    QByteArray file; ///< as in `export_file_paths`; empty for a part that was never stored
    std::optional<qint64> row;
    std::optional<qint64> mail;
    QByteArray kind; ///< "identical", "longer", "shorter", "other" or "missing"
    QByteArray part_path;
};

/// Use it from one thread. After the first failure nothing more is written; `failure()` says why.
class mail_database
{
public:
    /// `PRAGMA user_version` of the schema.
    static constexpr int schema_version = 2;

    mail_database() = default;
    Q_DISABLE_COPY_MOVE(mail_database)

    /// Open the file at `database_path`, which is created with its tables if it does not exist. Refuses a file that is
    /// not such a database, or one of another version.
    [[nodiscard]] maybe_refusal open(const QString &database_path);

    /// Insert a mail with everything that belongs to it; returns the id of its row, or 0 when the database failed.
    /// `files` are the values of `part.file`, one for each of `mail.parts`, empty for NULL. `source_file_number` goes
    /// to `row_separator`; it is not used when `mail.separators` is empty.
    qint64 insert(const mail_record &mail, const QByteArrayList &files, int source_file_number);

    /// Record separators of the plug-in that are in no mail: `mail` of their `row_separator` is 0.
    void insert_separators(const QList<row_separator> &separators, int source_file_number);

    /// The `file` of the first part with this content, or empty.
    [[nodiscard]] QByteArray file_of(const QByteArray &sha256);

    void set_row(qint64 mail, const QByteArray &row_table, std::optional<qint64> row, const QByteArray &row_note);
    void insert(const mail_difference &difference);
    void insert(const stored_attachment &attachment);

    /// Record a text in `meta`; an earlier one of the same key is replaced.
    void set_meta(const QByteArray &key, const QByteArray &value);

    /// Commit the transaction, of which the first begins with `open`, and begin the next one.
    void commit();

    /// `commit` for the last time. With `safely`, the file's bytes are on the disk when this returns, which may take
    /// seconds.
    void close(bool safely);

    /// The id that the first mail inserted by this object has, or would have.
    [[nodiscard]] qint64 first_mail() const { return id_of_first_mail; }

    /// The id that the next mail gets.
    [[nodiscard]] qint64 next_id() const { return next_mail; }

    /// For queries of phase 2. Lives as long as this object is open.
    [[nodiscard]] sqlite_connection &connection() { return file; }

    /// Empty while all is well.
    [[nodiscard]] QString failure() const { return file.failure(); }

private:
    void prepare_statements();
    void insert_separator_of(qint64 id, int source_file_number, const row_separator &place, const foreseen_row &row);
    void insert_parts(qint64 id, const mail_record &mail, const QByteArrayList &files);
    void insert_search(qint64 id, const mail_record &mail);
    void force_to_disk();

    QString path;
    sqlite_connection file;
    qint64 id_of_first_mail = 1;
    qint64 next_mail = 1;
    sqlite_statement insert_mail, insert_address, insert_label, insert_reference, insert_part, insert_text,
        insert_html_text, insert_separator, insert_difference, insert_attachment, update_row, replace_meta, find_file;
};
