/// The mails of a report as data files: a compact index, which the page reads whole, and the details for the view of a
/// mail, in files that the page loads one at a time.
#pragma once

#include "host/results/report_mail.h"
#include "host/results/report_search.h"
#include "host/results/report_threads.h"

#include <QHash>

#include <functional>

/// Numbers for the texts of a column with few values; the page looks the texts up.
class numbered_texts
{
public:
    /// The number of a text, from 0; counted in `counts`.
    qint64 number_of(const QByteArray &text);

    QByteArrayList texts;
    QList<qint64> counts; ///< how often each was requested

private:
    QHash<QByteArray, qint64> numbers;
};

/// Writes the mails' files into a directory.
class report_data
{
public:
    explicit report_data(const QString &directory);

    /// Write all mails. `go_on` is called for each mail.
    [[nodiscard]] maybe_refusal write(const result_reader &reader, const std::function<bool()> &go_on);

    /// After `write`: facts that the page needs before it loads a file, as members of an object.
    void describe(json_text &out) const;

private:
    [[nodiscard]] maybe_refusal add(const report_mail &mail, qint64 thread);
    [[nodiscard]] maybe_refusal finish_index();
    [[nodiscard]] maybe_refusal finish_details();
    [[nodiscard]] maybe_refusal finish_sources();
    void add_to_index(const report_mail &mail, qint64 thread);
    void add_people(const report_mail &mail);
    qint64 number_of_person(const report_mail::address &person);
    void add_marks(const report_mail &mail);
    void add_words(const report_mail &mail);

    /// One column of the index each.
    struct index_columns
    {
        json_text ids, dates, subjects, from, to, labels, kinds, marks, flags, sizes, threads, places, rows, files;
    };

    QString directory;
    search_index search;
    index_columns index;
    json_text new_people; ///< name, address and correspondent of those who first occur in this part of the index
    json_text details, sources;
    QHash<QByteArray, qint64> people;      ///< by name and address, as they are written
    QHash<QString, qint64> correspondents; ///< the first of `people` with the same address, or name without one
    numbered_texts labels, marks, places;
    qint64 mails = 0, mails_without_row = 0, all_files = 0;
    std::optional<qint64> first_date, last_date;                    ///< UTC seconds
    std::vector<qint64> index_begins, detail_begins, source_begins; ///< the first mail of each file
    bool with_mail = false;
    bool is_compared = false; ///< the mails with their rows; otherwise missing rows are unknown
};
