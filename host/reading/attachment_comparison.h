/// Compares each stored attachment file with the part of the mail that it came from.
#pragma once

#include "host/reading/mail_database.h"

#include <QHash>
#include <QSet>

#include <vector>

/// A part, from the database.
struct known_part
{
    QByteArray path;
    qint64 size = 0;
    QByteArray sha256;
    QByteArray file; ///< below the directory of the database; empty when it was not written
    bool is_text = false;
};

/// The number of files that a row lists in `export_file_paths`.
[[nodiscard]] qsizetype number_of_files(const QByteArray &listed);

class attachment_comparison
{
public:
    struct counts
    {
        qint64 identical = 0;
        qint64 altered = 0;
        qint64 missing = 0;
    };

    /// `directory`, which ends in "/", has the files of the rows in "Attachments/" and those of the parts in "Parts/".
    attachment_comparison(QString directory, mail_database &database);

    /// Files whose names in rows begin with "/" are below this directory, which does not end in "/".
    void set_source_root(const QString &root) { source_root = root; }

    /// Compare the files that a row lists (the text of `export_file_paths`); the row was made of this mail (0 for none)
    /// or of lines inside it. `parts` has the path of a part for each file, empty where none is known; it is empty when
    /// nothing is known of the row. `stored` gains the paths of the parts that the files came from.
    void compare(qint64 mail, qint64 row, const QByteArray &listed, const QByteArrayList &parts,
                 QSet<QByteArray> &stored);

    /// Call it after all rows of a mail: its parts that are not among `stored` are missing. `row` is the mail's own.
    void finish(qint64 mail, std::optional<qint64> row, const QSet<QByteArray> &stored);

    [[nodiscard]] const counts &counted() const { return files; }

private:
    void load(qint64 mail);
    void add(const stored_attachment &file);
    [[nodiscard]] QByteArray kind_of(const QByteArray &listed, const known_part *part) const;
    [[nodiscard]] const known_part *part_with_content(const QByteArray &listed) const;

    QString place;
    QString source_root;
    mail_database &database;
    counts files;
    sqlite_statement part_query;
    qint64 mail_of_parts = 0;
    std::vector<known_part> parts_of_mail;
    QHash<QByteArray, std::size_t> part_numbers; ///< by path
};
