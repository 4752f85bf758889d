/// Phase 2 of `gmail_host read`: matches each mail with the row that the extraction made of it, and writes the
/// differences to `difference` and `attachment_file`.
///
/// The n-th line of an mbox that begins with "From " gives the n-th row of that file, and the last such line gives
/// none. Where rows are missing in between, the others are matched by their values.
#pragma once

#include "host/reading/attachment_comparison.h"
#include "host/reading/mail_database.h"
#include "host/reading/read_mails.h"

#include <functional>

struct comparison_job
{
    QString directory;             ///< of `Gmail.sqlite`; ends in "/"
    QList<reading_source> sources; ///< as they were read
    qint64 rows_after = 0;         ///< rows up to this `INT` are of earlier runs
    QString why_no_rows;           ///< known reason for mails to have none: a sentence, or empty
    bool has_rows = true;          ///< as it was when the mails were read
};

/// How the rows of a run differ from the mails.
struct comparison_totals
{
    qint64 mails = 0;
    qint64 without_row = 0;
    qint64 shortened_text = 0; ///< mails whose row has only part of the text, or none
    qint64 unread_date = 0;    ///< mails whose row has the date 0 although theirs can be read
    qint64 other_sender = 0;   ///< mails whose row has a sender, or a subject, that is not the header's
    qint64 other_subject = 0;
    qint64 surplus_rows = 0;
    attachment_comparison::counts attachments;
    QStringList failures; ///< a sentence each
    bool cancelled = false;
};

/// Called many times a second; false cancels.
using on_comparison = std::function<bool(qint64 rows_done)>;

/// Compare the mails that `read_mails` put into the database, in this process and with the same object, with the rows.
/// After a cancel the mails that were not reached have a note that says so.
[[nodiscard]] comparison_totals compare_rows(const comparison_job &job, mail_database &database,
                                             const on_comparison &go_on);
