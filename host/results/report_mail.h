/// The mails of a report, one after the other: from `Mail.sqlite` where there is one, else from the rows of `messages`.
#pragma once

#include "host/results/result_reader.h"

#include <optional>

/// One mail with everything that the report shows of it. Texts are as stored; empty ones are absent.
struct report_mail
{
    struct address
    {
        QByteArray role, name, address;
    };
    struct part
    {
        QByteArray path, media_type, charset, name, disposition, content_id, encoding, sha256, file;
        qint64 size = -1; ///< bytes; -1 when it is not known
        bool is_text = false;
    };
    struct difference
    {
        QByteArray field, kind, explanation;
    };
    struct stored_file
    {
        QByteArray file, kind, part_path;
    };
    struct row_value
    {
        QByteArray column, value;
    };

    qint64 id = 0; ///< `mail.id`, or the row's number
    QByteArray source_count_name, source_file, sha256, message_id, in_reply_to, thread_id, date_text, subject, text,
        html, headers, row_note, problems;
    QByteArray html_text;       ///< of a mail without a plain text
    std::optional<qint64> date; ///< UTC seconds
    std::optional<qint64> ordinal, offset, length, row;
    QList<address> addresses;
    QByteArrayList labels, references;
    QList<part> parts;
    QList<difference> differences;
    QList<stored_file> files;
    QList<row_value> row_values; ///< of the row in `messages`, without empty ones
};

/// Reads them in the order of their ids. The reader must outlive it.
class report_mails
{
public:
    virtual ~report_mails() = default;

    /// The next mail; false at the end, and when it cannot be read: `failure` says which.
    [[nodiscard]] virtual bool next(report_mail &mail) = 0;
    [[nodiscard]] virtual maybe_refusal failure() const = 0;

    [[nodiscard]] static std::unique_ptr<report_mails> of(const result_reader &reader);
};
