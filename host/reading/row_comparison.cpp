#include "host/reading/row_comparison.h"

#include "host/reading/attachment_comparison.h"
#include "host/reading/expected_rows.h"
#include "host/source_kinds.h"

#include <QFileInfo>
#include <QHash>
#include <QSet>

namespace {

constexpr qint64 rows_per_commit = 20'000;

constexpr char of_last_message[] = "The last message of an mbox file gives no row.";
constexpr char of_skipped_message[] =
    "The result has rows of later messages of this file but none of this one: it could not be inserted, it was too "
    "large, or its row was removed.";
constexpr char after_last_row[] =
    "The rows of this file end before this mail: the extraction was cancelled, or it failed.";

constexpr char inside_mail[] =
    "A line inside this mail begins with \"From \" and is taken for the beginning of another mail; the row was made of "
    "the lines that follow.";
constexpr char before_first_mail[] = "A line before the first mail of the file begins with \"From \" and is taken for "
                                     "the beginning of a mail; the row was "
                                     "made of the lines that follow.";
constexpr char beyond_messages[] =
    "The file has fewer messages than the result has rows of it: it was extracted more than once, or rows were added.";

/// A source file and how far its messages have been matched.
struct compared_file
{
    int number = 0;              ///< `source_file_number`
    bool last_gives_row = false; ///< unlike in an mbox
    bool is_counted = false;
    bool has_gaps = false; ///< absent rows leave gaps between the numbers of the others
    qint64 messages = 0;   ///< as the extraction counts them, those that give no row included
    qint64 absent = 0;     ///< rows that it should have but does not
    qint64 last_row = 0;
    qint64 next = 1; ///< ordinal of the message that is to be matched next
    // The mail of the previous message, which may have more messages:
    qint64 mail = 0;
    std::optional<qint64> row_of_mail;
    QSet<QByteArray> stored; ///< paths of its parts that attachment files came from
};

/// A message as the extraction cuts it, and the row that is expected of it.
struct expected_message
{
    int file = 0;
    qint64 ordinal = 0;
    qint64 mail = 0; ///< that it is in; 0 before the first mail
    QByteArray digest;
    QByteArray packed_row;
};

/// A row that was written.
struct written_row
{
    qint64 number = 0; ///< `INT`
    row_values values;
    QByteArray listed_files;
    QByteArray digest;
};

class row_comparison
{
public:
    row_comparison(const comparison_job &of_run, mail_database &mails, const on_comparison &go_on_with);

    comparison_totals run();

private:
    void note_files();
    [[nodiscard]] bool open_rows();
    void compare_rows();
    void compare_row(compared_file &file, const written_row &row);
    void count(compared_file &file, qint64 first_row);
    [[nodiscard]] bool is_row_of(qint64 row, const compared_file &file);
    [[nodiscard]] bool take(compared_file &file);
    [[nodiscard]] qint64 ordinal_of(const compared_file &file, const QByteArray &digest);
    void match(compared_file &file, const written_row &row);
    void match_mail(const written_row &row, const expected_row &expected, bool is_expected);
    void pass_over(compared_file &file, const QByteArray &note);
    void finish(compared_file &file);
    void begin_mail(compared_file &file);
    void add(qint64 mail, std::optional<qint64> row, const row_difference &difference);
    [[nodiscard]] mail_record values_of_mail(qint64 mail);

    const comparison_job &job;
    mail_database &database;
    const on_comparison &go_on;
    comparison_totals totals;
    attachment_comparison attachments;
    sqlite_connection rows;
    sqlite_statement row_query, row_at, row_count, message_count, messages, later_message;
    QList<compared_file> files;
    QHash<std::pair<QByteArray, QByteArray>, qsizetype> file_numbers; ///< by `source_count_name` and `source_file`
    bool has_digest_index = false;
    QList<QString> roots; ///< of the files
    expected_message current;
};

row_comparison::row_comparison(const comparison_job &of_run, mail_database &mails, const on_comparison &go_on_with)
    : job(of_run)
    , database(mails)
    , go_on(go_on_with)
    , attachments(of_run.directory, mails)
{
    note_files();
}

void row_comparison::note_files()
{
    for (const reading_source &source : job.sources) {
        for (const QString &place : source.places) {
            file_numbers.insert({source.source_count_name.toUtf8(), QString(u'/' + place).toUtf8()}, files.size());
            files.append(
                {.number = static_cast<int>(files.size()) + 1, .last_gives_row = source.scheme == android_scheme});
            roots.append(source.root.chopped(1));
        }
    }
}

/// False when there are no rows to compare with, which is a failure only if the table exists.
bool row_comparison::open_rows()
{
    const QString path = job.directory + QLatin1StringView("Gmail.sqlite");
    if (!QFileInfo::exists(path)) // mail can be read without any rows
        return false;
    sqlite_statement table;
    const bool opened =
        rows.open(path, sqlite_connection::mode::read_only) &&
        table.prepare(rows, "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'messages'");
    if (opened && table.next() && table.number(0) == 0)
        return false;
    row_query.prepare(rows,
                      "SELECT INT, source_count_name, source_file, subject, from_list, to_list, cc_list, timestamp, "
                      "message_text, export_file_paths FROM messages WHERE INT > ? ORDER BY INT");
    row_at.prepare(rows, "SELECT source_count_name, source_file FROM messages WHERE INT = ?");
    row_count.prepare(rows,
                      "SELECT count(*) FROM messages WHERE INT > ? AND source_count_name = ? AND source_file = ?");
    if (!rows.failure().isEmpty())
        totals.failures.append(
            QStringLiteral("%1: its rows cannot be read, so the mails were not compared with them (%2)")
                .arg(path, rows.failure()));
    return rows.failure().isEmpty();
}

comparison_totals row_comparison::run()
{
    sqlite_connection &mails = database.connection();
    message_count.prepare(mails, "SELECT max(ordinal) FROM temp.row_separator WHERE source_file_number = ?");
    messages.prepare(mails, "SELECT ordinal, mail, digest, expected_row FROM temp.row_separator "
                            "WHERE source_file_number = ? AND ordinal >= ? ORDER BY ordinal");
    if (open_rows())
        compare_rows();
    for (compared_file &file : files) {
        if (totals.cancelled)
            break;
        finish(file);
    }
    database.commit();
    totals.attachments = attachments.counted();
    if (const QString failure = database.failure(); !failure.isEmpty())
        totals.failures.append(failure);
    return std::move(totals);
}

void row_comparison::compare_rows()
{
    qint64 count = 0;
    row_query.bind(job.rows_after);
    while (!totals.cancelled && row_query.next()) {
        const auto number = file_numbers.constFind({row_query.text(1), row_query.text(2)});
        if (number != file_numbers.constEnd()) {
            written_row row = {row_query.number(0),
                               {row_query.text(3), row_query.text(4), row_query.text(5), row_query.text(6),
                                row_query.text(7), row_query.text(8)},
                               row_query.text(9),
                               {}};
            // Only its row shows which files are the body and the attachments of an Android mail.
            row.digest =
                digest_of(row.values, files.at(*number).last_gives_row ? 0 : number_of_files(row.listed_files));
            attachments.set_source_root(roots.at(*number));
            compare_row(files[*number], row);
        }
        if (++count % rows_per_commit == 0)
            database.commit();
        totals.cancelled = !go_on(count);
    }
    row_query.reset();
    if (!rows.failure().isEmpty())
        totals.failures.append(QStringLiteral("Gmail.sqlite: reading its rows stopped (%1)").arg(rows.failure()));
}

void row_comparison::compare_row(compared_file &file, const written_row &row)
{
    if (!file.is_counted)
        count(file, row.number);
    if (file.has_gaps && file.last_row != 0)
        file.absent += row.number - file.last_row - 1;
    file.last_row = row.number;
    const qint64 last = file.last_gives_row ? file.messages : file.messages - 1;
    if (file.next > last || !take(file)) {
        add(0, row.number, {"row", "surplus", beyond_messages});
        QSet<QByteArray> none;
        attachments.compare(0, row.number, row.listed_files, {}, none);
        return;
    }
    if (file.absent > 0 && current.digest != row.digest) {
        const qint64 found = ordinal_of(file, row.digest);
        while (file.next < found && file.next < last && file.absent > 0) {
            --file.absent;
            pass_over(file, of_skipped_message);
            if (!take(file))
                return;
        }
    }
    match(file, row);
}

/// Counts the messages of the file and those whose rows are absent. When the first and the last row of the expected
/// number are the file's, and the next one is not, rows are only absent where their numbers have gaps.
void row_comparison::count(compared_file &file, qint64 first_row)
{
    file.is_counted = true;
    message_count.bind(qint64(file.number));
    file.messages = message_count.next() ? message_count.number(0) : 0;
    message_count.reset();
    const qint64 expected = file.last_gives_row ? file.messages : file.messages - 1;
    file.has_gaps = is_row_of(first_row + expected - 1, file) && !is_row_of(first_row + expected, file);
    if (file.has_gaps)
        return;
    const auto name = file_numbers.key(file.number - 1);
    row_count.bind(job.rows_after).bind(name.first).bind(name.second);
    file.absent = row_count.next() ? qMax<qint64>(expected - row_count.number(0), 0) : 0;
    row_count.reset();
}

bool row_comparison::is_row_of(qint64 row, const compared_file &file)
{
    row_at.bind(row);
    const bool is_it = row_at.next() && file_numbers.value({row_at.text(0), row_at.text(1)}, -1) == file.number - 1;
    row_at.reset();
    return is_it;
}

/// Make the file's next message the current one.
bool row_comparison::take(compared_file &file)
{
    if (current.file == file.number && current.ordinal == file.next)
        return true;
    const bool goes_on = current.file == file.number && current.ordinal + 1 == file.next;
    if (!goes_on) {
        messages.reset();
        messages.bind(qint64(file.number)).bind(file.next);
    }
    current = {};
    if (!messages.next())
        return false;
    current = {file.number, messages.number(0), messages.number(1), messages.bytes(2), messages.bytes(3)};
    return current.ordinal == file.next;
}

/// The next message whose expected row has this digest; 0 when there is none.
qint64 row_comparison::ordinal_of(const compared_file &file, const QByteArray &digest)
{
    if (!has_digest_index) {
        has_digest_index = true;
        database.connection().execute(
            "CREATE INDEX temp.row_separator_digest ON row_separator (source_file_number, digest)");
        later_message.prepare(database.connection(), "SELECT min(ordinal) FROM temp.row_separator "
                                                     "WHERE source_file_number = ? AND digest = ? AND ordinal > ?");
    }
    later_message.bind(qint64(file.number)).bind(digest).bind(file.next);
    const qint64 ordinal = later_message.next() ? later_message.number(0) : 0;
    later_message.reset();
    return ordinal <= file.next + file.absent ? ordinal : 0;
}

/// The current message is the first of another mail: the one before is done.
void row_comparison::begin_mail(compared_file &file)
{
    if (file.mail != 0)
        attachments.finish(file.mail, file.row_of_mail, file.stored);
    file.mail = current.mail;
    file.row_of_mail.reset();
    file.stored.clear();
}

void row_comparison::match(compared_file &file, const written_row &row)
{
    const bool is_expected = current.digest == row.digest;
    const expected_row expected = unpacked(current.packed_row);
    ++file.next;
    if (current.mail != file.mail) {
        begin_mail(file);
        file.row_of_mail = row.number;
        match_mail(row, expected, is_expected);
    } else {
        ++totals.surplus_rows;
        add(current.mail, row.number, {"row", "surplus", current.mail == 0 ? before_first_mail : inside_mail});
    }
    attachments.compare(current.mail, row.number, row.listed_files,
                        is_expected ? expected.attachment_parts : QByteArrayList(), file.stored);
}

void row_comparison::match_mail(const written_row &row, const expected_row &expected, bool is_expected)
{
    database.set_row(current.mail, "messages", row.number, {});
    const bool by_order = current.digest.isEmpty(); // only the place of the mail is known
    const QList<row_difference> differences = is_expected ? expected.differences
                                              : by_order  ? QList<row_difference>()
                                                          : plain_differences(values_of_mail(current.mail), row.values);
    for (const row_difference &each : differences)
        add(current.mail, row.number, each);
}

/// The current message has no row.
void row_comparison::pass_over(compared_file &file, const QByteArray &note)
{
    ++file.next;
    if (current.mail == file.mail)
        return;
    begin_mail(file);
    ++totals.without_row;
    if (job.has_rows || note != row_note_of_file_without_rows)
        database.set_row(current.mail, {}, {}, note);
    add(current.mail, {}, {"row", "missing", note});
}

void row_comparison::finish(compared_file &file)
{
    const QByteArray note = !job.why_no_rows.isEmpty() ? job.why_no_rows.toUtf8()
                            : file.is_counted          ? QByteArray(after_last_row)
                                                       : QByteArray(row_note_of_file_without_rows);
    if (!file.is_counted) {
        message_count.bind(qint64(file.number));
        file.messages = message_count.next() ? message_count.number(0) : 0;
        message_count.reset();
    }
    while (take(file) && !totals.cancelled) {
        const bool is_last = current.ordinal == file.messages && !file.last_gives_row;
        pass_over(file, is_last ? QByteArray(of_last_message) : note);
        totals.cancelled = !go_on(file.next);
    }
    if (file.mail != 0)
        attachments.finish(file.mail, file.row_of_mail, file.stored);
}

void row_comparison::add(qint64 mail, std::optional<qint64> row, const row_difference &difference)
{
    const bool not_the_headers =
        difference.kind == "other" || difference.kind == "missing" || difference.kind == "surplus";
    if (difference.field == "message_text")
        totals.shortened_text += difference.kind == "shortened" || difference.kind == "missing";
    else if (difference.field == "timestamp")
        totals.unread_date += difference.kind == "missing";
    else if (difference.field == "from_list")
        totals.other_sender += not_the_headers;
    else if (difference.field == "subject")
        totals.other_subject += not_the_headers;
    database.insert(mail_difference{mail == 0 ? std::optional<qint64>() : mail, row, difference.field, difference.kind,
                                    difference.explanation});
}

mail_record row_comparison::values_of_mail(qint64 mail)
{
    mail_record values;
    sqlite_statement query;
    query.prepare(database.connection(), "SELECT subject, date, text FROM mail WHERE id = ?");
    query.bind(mail);
    if (query.next()) {
        values.subject = query.text(0);
        if (!query.is_null(1))
            values.date = query.number(1);
        values.text = query.text(2);
    }
    sqlite_statement addresses;
    addresses.prepare(database.connection(),
                      "SELECT role, position, name, address FROM address WHERE mail = ? ORDER BY role, position");
    addresses.bind(mail);
    while (addresses.next())
        values.addresses.append(
            {addresses.text(0), static_cast<int>(addresses.number(1)), addresses.text(2), addresses.text(3)});
    return values;
}

} // namespace

comparison_totals compare_rows(const comparison_job &job, mail_database &database, const on_comparison &go_on)
{
    return row_comparison(job, database, go_on).run();
}
