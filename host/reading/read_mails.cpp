#include "host/reading/read_mails.h"

#include "host/reading/android_mails.h"
#include "host/reading/limits.h"
#include "host/reading/mail_splitter.h"
#include "host/reading/worker_pool.h"
#include "host/source_kinds.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <cstdio>
#include <deque>

namespace {

// Counted, not timed: the search index is laid out by transaction, and equal sources give equal files.
constexpr qint64 mails_per_transaction = 4'000;
constexpr qint64 bytes_per_transaction = qint64(16) * 1024 * 1024;
constexpr int milliseconds_to_wait = 50;
constexpr int milliseconds_between_questions = 20;              // between calls of `go_on`
constexpr qint64 max_bytes_under_way = qint64(4) * 1024 * 1024; // mails that are parsed and not yet in the database
constexpr int mails_at_a_time = 8;                              // inserted before the processes get more to do
constexpr int enough_parsed = 32;         // mails: while this many wait, one process parses fast enough
constexpr qsizetype max_failures = 1'000; // that are listed
constexpr QLatin1StringView spool_name(".reading/");

/// A worker's answer for a mail, and where the mail comes from.
struct mail_under_way
{
    mail_place place;
    QByteArray source_count_name, source_file, path;
    int source_file_number = 0;
    QByteArrayList problems;
    bool is_parsed = false;
    mail_record record;
};

/// Reads all files into one database.
class mail_reading
{
public:
    mail_reading(const reading_job &what, mail_database &into, const on_mail_bytes &told)
        : job(what)
        , database(into)
        , go_on(told)
        , parts(job.directory + QLatin1StringView("Parts/"))
        , pool(qMax(job.threads, 1), parts + spool_name)
    {
    }
    ~mail_reading() { QDir(parts + spool_name).removeRecursively(); }
    Q_DISABLE_COPY_MOVE(mail_reading)

    reading_totals run();

private:
    void read_file(const reading_source &source, const QString &place);
    void read_android(const reading_source &source, const QString &place);
    void keep(mail_record &record, int number);
    void dispatch(mail_under_way mail);
    void collect();
    void make_room();
    void finish_under_way();
    void insert_ready(int max_mails);
    void commit();
    void commit_if_due();
    void insert_first();
    QByteArray keep_part(const mail_part &part, QHash<QByteArray, QByteArray> &files_of_mail);
    void fail(const QString &sentence);
    void note_given_up(const mail_under_way &mail, const QByteArray &why);
    [[nodiscard]] bool may_go_on();
    /// When everything waits for the database, more processes would only take its processor.
    [[nodiscard]] bool is_one_enough() const { return parsed_and_waiting > enough_parsed; }

    const reading_job &job;
    mail_database &database;
    const on_mail_bytes &go_on;
    QString parts; ///< ends in "/"
    worker_pool pool;
    reading_totals totals;
    std::deque<mail_under_way> under_way; ///< in their order
    qint64 first_number = 1;              ///< of the first that is under way
    qint64 bytes_under_way = 0;
    qint64 parsed_and_waiting = 0; ///< mails that are under way
    qint64 bytes_done = 0, bytes_of_files = 0, bytes_in_all = 0;
    QElapsedTimer since_question;
    int source_file_number = 0;
    qint64 mails_committed = 0, bytes_committed = 0;
};

void mail_reading::fail(const QString &sentence)
{
    if (!totals.failures.contains(sentence))
        totals.failures.append(sentence);
}

void mail_reading::note_given_up(const mail_under_way &mail, const QByteArray &why)
{
    ++totals.mails_given_up;
    if (totals.failures.size() < max_failures)
        fail(QStringLiteral("%1: mail %2, at byte %3: %4")
                 .arg(QFile::decodeName(mail.path))
                 .arg(mail.place.ordinal)
                 .arg(mail.place.offset)
                 .arg(QString::fromUtf8(why)));
}

bool mail_reading::may_go_on()
{
    if (!since_question.isValid() || since_question.elapsed() > milliseconds_between_questions) {
        totals.cancelled = totals.cancelled || !go_on(qMin(bytes_done, bytes_in_all), bytes_in_all);
        since_question.start();
    }
    if (!pool.failure().isEmpty())
        fail(pool.failure());
    if (!database.failure().isEmpty())
        fail(job.directory + QLatin1StringView("Mail.sqlite: cannot be written (") + database.failure() + u')');
    return !totals.cancelled && pool.failure().isEmpty() && database.failure().isEmpty();
}

/// Move a part's bytes to their name in "Parts/"; equal ones are kept once. Empty when they could not be kept.
QByteArray mail_reading::keep_part(const mail_part &part, QHash<QByteArray, QByteArray> &files_of_mail)
{
    if (part.is_text || part.sha256.isEmpty()) // a part of which only the name is known
        return {};
    if (part.spool_file.isEmpty() && !part.is_kept) {
        fail(parts + QLatin1StringView(": not all parts could be written; see the problems of their mails"));
        return {};
    }
    const QString spooled = QFile::decodeName(part.spool_file);
    QByteArray &file = files_of_mail[part.sha256];
    if (file.isEmpty())
        file = database.file_of(part.sha256);
    if (!file.isEmpty()) {
        if (!part.is_kept)
            QFile::remove(spooled);
        return file;
    }
    file = "Parts/" + part.sha256 + part.extension;
    if (part.is_kept) // by a run that was killed before it could record that
        return file;
    const QByteArray target = QFile::encodeName(job.directory) + file;
    if (::rename(part.spool_file.constData(), target.constData()) != 0) {
        fail(QFile::decodeName(target) + QLatin1StringView(": cannot be written"));
        file.clear();
        return {};
    }
    ++totals.files_written;
    return file;
}

void mail_reading::insert_first()
{
    mail_under_way &mail = under_way.front();
    mail_record &record = mail.record;
    record.source_count_name = mail.source_count_name;
    record.source_file = mail.source_file;
    record.ordinal = mail.place.ordinal;
    record.offset = mail.place.offset;
    record.length = mail.place.length;
    record.separators = mail.place.separators;
    record.problems = mail.problems + record.problems;
    keep(record, mail.source_file_number);
    bytes_done += mail.place.length;
    bytes_under_way -= mail.place.length;
    --parsed_and_waiting;
    under_way.pop_front();
    ++first_number;
    commit_if_due();
}

void mail_reading::commit_if_due()
{
    if (totals.mails - mails_committed >= mails_per_transaction ||
        bytes_done - bytes_committed >= bytes_per_transaction)
        commit();
}

void mail_reading::commit()
{
    database.commit();
    if (!database.failure().isEmpty())
        return;
    mails_committed = totals.mails;
    bytes_committed = bytes_done;
}

/// Insert it into the database, with the files of its parts.
void mail_reading::keep(mail_record &record, int number)
{
    record.row_note =
        job.has_rows ? row_note_until_compared(database.next_id()) : QByteArray(row_note_of_file_without_rows);
    QByteArrayList files;
    QHash<QByteArray, QByteArray> files_of_mail; // by content; they are not in the database yet
    for (const mail_part &part : std::as_const(record.parts))
        files.append(keep_part(part, files_of_mail));
    if (database.insert(record, files, number) > 0) {
        ++totals.mails;
        totals.parts += record.parts.size();
        totals.mails_with_problems += record.problems.isEmpty() ? 0 : 1;
    }
}

/// The mails of an Android database are numbered from 1, as their rows are.
void mail_reading::read_android(const reading_source &source, const QString &place)
{
    finish_under_way(); // mails of the files before
    ++source_file_number;
    const QString folder = parts + spool_name;
    android_mails mails(source.root, place, folder);
    qint64 files = 0;
    const auto write_part = [&](QByteArrayView bytes, mail_part &part) {
        QFile file(folder + QLatin1StringView("android-part-") + QString::number(++files));
        if (file.open(QIODevice::WriteOnly) && file.write(bytes.data(), bytes.size()) == bytes.size())
            part.spool_file = QFile::encodeName(file.fileName());
    };
    mail_record record;
    if (mails.open()) {
        for (qint64 ordinal = 1; may_go_on() && mails.next(record, write_part); ++ordinal) {
            record.source_count_name = source.source_count_name.toUtf8();
            record.source_file = '/' + place.toUtf8();
            record.ordinal = ordinal;
            record.separators = {{ordinal, 0}};
            keep(record, source_file_number);
            commit_if_due();
        }
    }
    if (!mails.failure().isEmpty())
        fail(mails.failure());
    bytes_done = bytes_of_files += QFileInfo(source.root + place).size();
}

/// Insert parsed mails, `max_mails` at most.
void mail_reading::insert_ready(int max_mails)
{
    for (; max_mails > 0 && !under_way.empty() && under_way.front().is_parsed && may_go_on(); --max_mails)
        insert_first();
}

/// The SHA-256 of a mail that no process could read.
QByteArray sha256_of_range(const QByteArray &path, qint64 offset, qint64 length)
{
    QFile file(QFile::decodeName(path));
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(offset))
        return {};
    while (length > 0) {
        const QByteArray block = file.read(qMin<qint64>(length, 256 * 1024));
        if (block.isEmpty())
            return {};
        hash.addData(block);
        length -= block.size();
    }
    return hash.result().toHex();
}

/// Take parsed mails from the processes; wait for them when there is nothing to insert.
void mail_reading::collect()
{
    const bool has_ready = !under_way.empty() && under_way.front().is_parsed;
    for (parsed_mail &answer : pool.collect(has_ready ? 0 : milliseconds_to_wait)) {
        mail_under_way &mail = under_way.at(static_cast<std::size_t>(answer.number - first_number));
        mail.record = std::move(answer.record);
        mail.is_parsed = true;
        ++parsed_and_waiting;
        if (!answer.given_up.isEmpty()) {
            mail.problems.append(answer.given_up);
            note_given_up(mail, answer.given_up);
            mail.record.sha256 = sha256_of_range(mail.path, mail.place.offset, mail.place.length);
        }
    }
}

/// Wait until everything under way is in the database.
void mail_reading::finish_under_way()
{
    while (!under_way.empty() && may_go_on()) {
        collect();
        insert_ready(mails_at_a_time);
    }
}

/// The processes come first: nothing is inserted while they have nothing to do.
void mail_reading::make_room()
{
    const auto is_full = [this] { return !pool.has_room(is_one_enough()) || bytes_under_way > max_bytes_under_way; };
    while (is_full() && !under_way.empty() && may_go_on()) {
        collect();
        if (is_full())
            insert_ready(mails_at_a_time);
    }
}

void mail_reading::dispatch(mail_under_way mail)
{
    make_room();
    if (!may_go_on())
        return;
    const mail_place &place = mail.place;
    const qint64 number = first_number + static_cast<qint64>(under_way.size());
    bytes_under_way += place.length;
    if (place.length > max_mail_bytes) {
        mail.problems.append("This mail is too large to be read.");
        note_given_up(mail, mail.problems.last());
        mail.record.sha256 = sha256_of_range(mail.path, place.offset, place.length);
        mail.is_parsed = true;
        ++parsed_and_waiting;
    } else {
        pool.give({number, mail.path, place.offset, place.length, place.is_followed}, is_one_enough());
    }
    under_way.push_back(std::move(mail));
}

void mail_reading::read_file(const reading_source &source, const QString &place)
{
    ++source_file_number;
    const QString path = source.root + place;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        fail(path + QLatin1StringView(": cannot be opened (") + file.errorString() + u')');
        return;
    }
    mail_splitter splitter(file);
    mail_under_way mail = {.source_count_name = source.source_count_name.toUtf8(),
                           .source_file = '/' + place.toUtf8(),
                           .path = QFile::encodeName(path),
                           .source_file_number = source_file_number};
    const auto note_bytes_before = [&] {
        const QByteArray count = QByteArray::number(splitter.bytes_before_first());
        if (splitter.bytes_before_first() > 0) {
            totals.remarks.append(path + QLatin1StringView(": ") + QString::fromLatin1(count) +
                                  QLatin1StringView(" bytes before the first mail belong to no mail"));
            mail.problems.append("The file begins with " + count + " bytes that belong to no mail.");
        }
        database.insert_separators(splitter.separators_before_first(), source_file_number);
    };
    bool is_first = true;
    while (may_go_on() && splitter.next(mail.place)) {
        if (is_first)
            note_bytes_before();
        dispatch(mail);
        mail.problems.clear();
        is_first = false;
    }
    if (is_first && !totals.cancelled)
        note_bytes_before();
    if (splitter.has_failed())
        fail(path + QLatin1StringView(": cannot be read to its end (") + file.errorString() + u')');
    bytes_of_files += file.size();
}

reading_totals mail_reading::run()
{
    QDir(parts + spool_name).removeRecursively(); // of a run that was killed
    if (!QDir().mkpath(parts + spool_name)) {
        fail(parts + QLatin1StringView(": cannot be created"));
        return totals;
    }
    for (const reading_source &source : job.sources) {
        for (const QString &place : source.places)
            bytes_in_all += QFileInfo(source.root + place).size();
    }
    for (const reading_source &source : job.sources) {
        for (const QString &place : source.places) {
            if (!may_go_on())
                break;
            if (source.scheme == android_scheme)
                read_android(source, place);
            else
                read_file(source, place);
        }
    }
    finish_under_way();
    commit();
    static_cast<void>(may_go_on()); // notes a failure of the last rows
    totals.mails = mails_committed;
    return totals;
}

} // namespace

reading_totals read_mails(const reading_job &job, mail_database &database, const on_mail_bytes &go_on)
{
    return mail_reading(job, database, go_on).run();
}
