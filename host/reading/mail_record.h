/// A mail as it was read: the values of one row of `mail` and of the rows that belong to it.
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QList>

#include <optional>

/// Texts are UTF-8. An empty text means that there is none: it becomes NULL in the database.
struct mail_address
{
    QByteArray role;  ///< "from", "sender", "reply-to", "to", "cc" or "bcc"
    int position = 0; ///< from 1, within the role
    QByteArray name;
    QByteArray address;
};

/// A leaf part, or an embedded message.
struct mail_part
{
    QByteArray path; ///< number of the body section, "1.2"
    QByteArray media_type;
    QByteArray charset; ///< as declared, in lower case
    QByteArray name;
    QByteArray disposition;
    QByteArray content_id; ///< without angle brackets
    QByteArray encoding;   ///< transfer encoding, in lower case
    qint64 size = 0;       ///< bytes, decoded
    QByteArray sha256;     ///< of these bytes, lower-case hex
    QByteArray extension;  ///< of the file that takes the bytes, with its dot; may be empty
    QByteArray spool_file; ///< where the bytes wait to be moved to "Parts"; empty when they are not written
    bool is_kept = false;  ///< its bytes were in "Parts" already
    bool is_text = false;  ///< `text` or `html` of the mail has it
    /// Where the part is among the bytes of the mail, as stored; -1 when that is not known. Its header, which begins
    /// the mail for part 1 of a mail that is not multipart, ends where its content begins. Needed only to foresee rows.
    qint64 header_begin = -1;
    qint64 content_begin = -1;
    qint64 content_end = -1;
};

/// A line of an mbox at which the plug-in begins a message. Its rule is simpler than that for mails, so a mail may
/// contain several.
struct row_separator
{
    qint64 ordinal = 0; ///< from 1, within the file
    qint64 offset = 0;  ///< bytes, within the file
};

/// The row that the plug-in makes of a message, as foreseen when its mail is read (see `expected_rows.h`).
struct foreseen_row
{
    QByteArray digest; ///< of its values
    QByteArray rest;   ///< packed; how it differs from the mail
};

/// Why a mail has no row if its file has none.
inline constexpr char row_note_of_file_without_rows[] = "The result has no rows of this file.";

/// The value in this place until a mail is compared: "Unmatched", padded with points to the length of the table's
/// name and a number like the mail's. So SQLite can replace it without writing the mail's texts again.
[[nodiscard]] QByteArray row_note_until_compared(qint64 mail);

struct mail_record
{
    QByteArray source_count_name; ///< as in the rows
    QByteArray source_file;       ///< as in the rows
    qint64 ordinal = 0;           ///< from 1, within the file or table
    std::optional<qint64> offset; ///< bytes; none on Android
    std::optional<qint64> length; ///< bytes, the "From " line included; none on Android
    QByteArray sha256;            ///< of these bytes, lower-case hex
    QByteArray message_id;
    QByteArray in_reply_to;
    QByteArray thread_id;
    std::optional<qint64> date; ///< UTC seconds
    QByteArray date_text;
    QByteArray subject;
    QByteArray text;
    QByteArray html;
    QByteArray headers;
    QByteArray row_table; ///< "messages" once the row is known
    std::optional<qint64> row;
    QByteArray row_note;     ///< why there is no row
    QByteArrayList problems; ///< a sentence each

    QList<mail_address> addresses;
    QByteArrayList labels;
    QByteArrayList references;
    QList<mail_part> parts;
    QByteArray search_text;            ///< for the search when `text` is empty: the text of `html`
    QList<row_separator> separators;   ///< of the plug-in, within this mail
    QList<foreseen_row> foreseen_rows; ///< of the first of these separators, in their order
};
