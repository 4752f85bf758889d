/// Phase 1 of `gmail_host read`: the mails of all sources go into the database, with their parts beside it.
///
/// One process does both phases with one `mail_database`. `read` alone runs them one after the other. During an
/// extraction it runs `read_mails` at once, waits until the extraction says that its rows are complete, and then
/// compares; the files of a source must stay where they are until then. If the extraction ends without saying so, there
/// is nothing to compare with, and the mails are kept.
#pragma once

#include "host/reading/mail_database.h"

#include <QStringList>

#include <functional>

/// A source as the plug-in gets it.
struct reading_source
{
    QString scheme;
    QString root;              ///< ends in "/"
    QString source_count_name; ///< as in the rows, "Source1"
    QStringList places;        ///< of the mbox files, below `root`, in the order in which they are read
};

struct reading_job
{
    QString directory; ///< of `Mail.sqlite`, where "Parts/" is made; ends in "/"
    QList<reading_source> sources;
    int threads = 1;      ///< processes that parse, at least 1
    bool has_rows = true; ///< that the mails will be compared with
};

struct reading_totals
{
    qint64 mails = 0;
    qint64 mails_with_problems = 0;
    qint64 mails_given_up = 0; ///< whose reading process died or took too long
    qint64 parts = 0;
    qint64 files_written = 0; ///< to "Parts/"
    QStringList remarks;      ///< bytes before the first mail, for example; a sentence each, the file named
    QStringList failures;     ///< everything that could not be read or written; a sentence each, the file named
    bool cancelled = false;
};

/// Called with the bytes read so far and in all, many times a second; false cancels.
using on_mail_bytes = std::function<bool(qint64 done, qint64 in_all)>;

/// Read the mails of all sources. `source_file_number` of the database counts `places` of all sources from 1. After a
/// cancel and after a failure the mails up to then are in the database.
[[nodiscard]] reading_totals read_mails(const reading_job &job, mail_database &database, const on_mail_bytes &go_on);
