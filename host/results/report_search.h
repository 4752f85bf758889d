/// The full text index of a report: for each word the mails that contain it, in files that the page loads when a word
/// is searched for.
#pragma once

#include "host/results/report_script.h"

#include <QFile>

#include <memory>
#include <vector>

/// The words of a text as they are indexed: runs of letters and digits in lower case and without accents, no longer
/// than `max_word` characters; words of one character only in scripts that are written without blanks, where each
/// character is a word. The page splits the words searched for in the same way (`words.ts`).
[[nodiscard]] std::vector<QByteArray> search_words(QByteArrayView utf8);

/// Words are spread over buckets by their first two characters, so that all words that begin like one of two or more
/// characters are together. Postings wait in a temporary file per bucket; memory does not grow with the mails.
class search_index
{
public:
    static constexpr int buckets = 512;
    static constexpr qsizetype max_word = 40;

    /// Temporary files are made in `directory`, and removed by `write` or with this object.
    explicit search_index(const QString &directory);
    ~search_index();
    Q_DISABLE_COPY_MOVE(search_index)

    /// Words of a mail, added up to `finish_mail`, which gives them the mail's number. Numbers ascend.
    void add(QByteArrayView text);
    [[nodiscard]] maybe_refusal finish_mail(quint32 number);

    /// Write the files "search-0.js", "search-1.js", ... into the directory.
    [[nodiscard]] maybe_refusal write();

    /// After `write`: the first bucket of each file.
    [[nodiscard]] const std::vector<int> &first_buckets() const { return file_begins; }

private:
    struct bucket;
    [[nodiscard]] maybe_refusal spill(bucket &full);
    [[nodiscard]] maybe_refusal append_bucket(bucket &from, json_text &out);
    [[nodiscard]] maybe_refusal write_file(json_text &file);

    QString directory;
    std::vector<QByteArray> words; ///< of the current mail
    std::vector<std::unique_ptr<bucket>> all;
    std::vector<int> file_begins;
};
