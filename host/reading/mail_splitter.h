/// Cuts an mbox file into mails.
///
/// A mail begins at a line that starts with "From " and ends in a date as mail programs write it ("Mon Jan 01 10:11:12
/// 2024", the seconds optional, a zone before or after the year), and that is at the start of the file, follows an
/// empty line, or is followed by a header line. It goes up to the next such line or the end of the file, including the
/// empty line before that. The last mail counts, too.
///
/// The plug-in's rule is simpler: each line that starts with "From " begins a message. These lines are reported with
/// the mail they are in, so that rows can be matched with mails later.
#pragma once

#include "host/reading/mail_record.h"

class QIODevice;

/// Where a mail is in its file.
struct mail_place
{
    qint64 ordinal = 0;              ///< from 1, within the file
    qint64 offset = 0;               ///< bytes
    qint64 length = 0;               ///< bytes, the "From " line included
    bool is_followed = false;        ///< by another mail
    QList<row_separator> separators; ///< of the plug-in, within these bytes, in their order
};

/// Keeps one block of the file and the separators of one mail in memory.
class mail_splitter
{
public:
    /// `mail_file` is open for reading at its start, and outlives the splitter.
    explicit mail_splitter(QIODevice &mail_file);

    /// The next mail; false at the end of the file, or when reading fails. The part that was read of the mail at which
    /// it failed is returned first.
    [[nodiscard]] bool next(mail_place &mail);

    /// The device failed before its end.
    [[nodiscard]] bool has_failed() const { return device_failed; }

    /// Bytes before the first mail; all bytes of a file without mails. Known once `next` has returned.
    [[nodiscard]] qint64 bytes_before_first() const { return before_first; }

    /// Separators of the plug-in before the first mail.
    [[nodiscard]] const QList<row_separator> &separators_before_first() const { return early_separators; }

private:
    void fill();
    [[nodiscard]] qsizetype find_from_line();
    [[nodiscard]] bool begins_mail(qsizetype line) const;
    bool take_from_line(qsizetype line, mail_place &mail);

    QIODevice &file;
    QByteArray block; // bytes of the file: those from `at` on were not looked at yet
    qsizetype at = 0;
    qsizetype filled = 0;    // end of the bytes in the block
    qint64 block_offset = 0; // of the block's first byte in the file
    bool device_ended = false;
    bool device_failed = false;
    qint64 before_first = 0;
    qint64 last_separator = 0; // its ordinal
    QList<row_separator> early_separators;
    mail_place current; // has an ordinal once a mail has begun
};

/// True when a line that starts with "From " ends in a date.
[[nodiscard]] bool ends_in_date(QByteArrayView from_line);
