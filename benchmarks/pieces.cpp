/// The hot pieces one by one. Those that measure Qt's own way, for comparison, say so in their names.
#include "common/base64.h"
#include "common/encryptor_string.h"
#include "common/evidence_root.h"
#include "common/free_file_names.h"
#include "common/log_line.h"
#include "extractors/android/body_files.h"
#include "extractors/rows/row_writer.h"
#include "extractors/takeout/local_text.h"
#include "extractors/takeout/mail_attachments.h"
#include "extractors/takeout/mail_body.h"
#include "extractors/takeout/mail_headers.h"
#include "extractors/takeout/mail_marks.h"
#include "extractors/takeout/mbox_splitter.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDateTime>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

/// Base64 of random bytes, like the content of a picture: a repeated letter would be decoded by a well-predicted
/// branch.
QByteArray base64_lines(qsizetype size)
{
    QRandomGenerator dice(1);
    QByteArray lines;
    for (qsizetype line = 0; line < size / 78; ++line) {
        QByteArray bytes;
        for (int i = 0; i < 57; ++i)
            bytes += static_cast<char>(dice.bounded(256));
        lines += bytes.toBase64() + "\r\n";
    }
    return lines;
}

/// A message with an attachment of about `size` bytes.
QByteArray message(qsizetype size)
{
    return "From 1@xxx Mon Jan 01\r\nReceived: by host: 1.2.3.4\r\nDate: Mon, 1 Jan 2024 10:00:00 +0100\r\nFrom: Ann "
           "<a@x>\r\nTo: Bob "
           "<b@x>, Cy <c@x>\r\nSubject: A subject\r\nContent-Type: multipart/mixed; "
           "boundary=\"----=_a\"\r\n\r\n------=_a\r\nContent-Type: "
           "text/plain; charset=UTF-8\r\n\r\nSome text: 100% of it.\r\n\r\n------=_a\r\nContent-Type: "
           "image/png\r\nContent-Disposition: "
           "attachment; filename=\"a.png\"\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
           base64_lines(size) + "QQ==\r\n------=_a--\r\n";
}

void count_bytes(benchmark::State &state, qsizetype bytes)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes);
}

void splitter(benchmark::State &state)
{
    QByteArray file = message(20000).repeated(200);
    while (state.KeepRunning()) {
        QBuffer device(&file);
        device.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        mbox_splitter splitter(device);
        for (auto step = splitter.read(); step != mbox_splitter::progress::file_ended; step = splitter.read()) {
            if (step == mbox_splitter::progress::message_complete)
                splitter.drop_message();
        }
    }
    count_bytes(state, file.size());
}
BENCHMARK(splitter);

void utf8_check(benchmark::State &state)
{
    const QByteArray text =
        QByteArray("Some text with an umlaut, \xC3\xA4, in each line of it, and no more than one.\r\n").repeated(10000);
    while (state.KeepRunning())
        benchmark::DoNotOptimize(local_text::surviving_lines(text));
    count_bytes(state, text.size());
}
BENCHMARK(utf8_check);

void utf8_journey_by_qt(benchmark::State &state)
{
    const QByteArray text =
        QByteArray("Some text with an umlaut, \xC3\xA4, in each line of it, and no more than one.\r\n").repeated(10000);
    while (state.KeepRunning())
        benchmark::DoNotOptimize(local_text::converted(text));
    count_bytes(state, text.size());
}
BENCHMARK(utf8_journey_by_qt);

void marks(benchmark::State &state)
{
    const QByteArray bytes = message(state.range(0));
    while (state.KeepRunning())
        benchmark::DoNotOptimize(mail_marks(bytes).date);
    count_bytes(state, bytes.size());
}
BENCHMARK(marks)->Arg(0)->Arg(20000)->Arg(2000000);

void header_fields(benchmark::State &state)
{
    const QByteArray bytes = message(0);
    const mail_marks found(bytes);
    while (state.KeepRunning()) {
        const auto text = [&](qsizetype mark) { return mail_headers::line_at(found.bytes, mark).text; };
        benchmark::DoNotOptimize(mail_headers::recipient_names(text(found.to + 1)));
        benchmark::DoNotOptimize(mail_headers::sender_name(text(found.from)));
        benchmark::DoNotOptimize(text(found.subject).trimmed());
    }
}
BENCHMARK(header_fields);

void body(benchmark::State &state)
{
    const QByteArray bytes = message(20000);
    const mail_marks found(bytes);
    while (state.KeepRunning())
        benchmark::DoNotOptimize(mail_body::normalized(QString::fromUtf8(mail_body::plain_parts(found).front().body)));
}
BENCHMARK(body);

void attachments(benchmark::State &state)
{
    const QByteArray bytes = message(300).repeated(state.range(0));
    const mail_marks found(bytes);
    while (state.KeepRunning())
        benchmark::DoNotOptimize(mail_attachments::bodies(found, mail_attachments::parameters(found).entries));
    count_bytes(state, bytes.size());
}
BENCHMARK(attachments)->Arg(1)->Arg(100)->Arg(10000);

void date(benchmark::State &state)
{
    const QString text = QStringLiteral("Mon, 1 Jan 2024 10:00:00 +0100");
    while (state.KeepRunning())
        benchmark::DoNotOptimize(mail_headers::epoch_of_date(text));
}
BENCHMARK(date);

void date_by_qt(benchmark::State &state)
{
    const QString text = QStringLiteral("Mon, 1 Jan 2024 10:00:00");
    while (state.KeepRunning())
        benchmark::DoNotOptimize(QDateTime::fromString(text, QStringLiteral("ddd, d MMM yyyy hh:mm:ss")));
}
BENCHMARK(date_by_qt);

void base64(benchmark::State &state)
{
    const QByteArray encoded = base64_lines(1000000);
    while (state.KeepRunning())
        benchmark::DoNotOptimize(decoded_base64(encoded));
    count_bytes(state, encoded.size());
}
BENCHMARK(base64);

void base64_by_qt(benchmark::State &state)
{
    const QByteArray encoded = base64_lines(1000000);
    while (state.KeepRunning())
        benchmark::DoNotOptimize(QByteArray::fromBase64(encoded));
    count_bytes(state, encoded.size());
}
BENCHMARK(base64_by_qt);

/// One name and one file each.
void free_name_and_file(benchmark::State &state)
{
    const QTemporaryDir directory;
    const QString path = directory.path() + u'/';
    cancel_flag cancelled;
    free_file_names names(path, cancelled);
    while (state.KeepRunning()) {
        const QString name = names.next(QStringLiteral("image001.png"), cancelled);
        QFile file(path + name);
        if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
            state.SkipWithError("cannot write");
        file.write("data");
        names.created(name);
    }
}
BENCHMARK(free_name_and_file)->Iterations(20000);

void body_file_index(benchmark::State &state)
{
    const QTemporaryDir directory;
    for (int i = 0; i < 5000; ++i)
        QFile(directory.filePath(QString::number(i) + u".html")).open(QIODevice::WriteOnly);
    cancel_flag cancelled;
    while (state.KeepRunning()) {
        const body_files files(directory.path(), evidence_root(directory.path()), cancelled);
        benchmark::DoNotOptimize(files.path_of(QStringLiteral("77")));
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 5000);
}
BENCHMARK(body_file_index);

void log_call_off(benchmark::State &state)
{
    const QString detail = QStringLiteral("detail");
    while (state.KeepRunning())
        log_line("[log_call] text ", detail);
}
BENCHMARK(log_call_off);

void log_call_on(benchmark::State &state)
{
    const QTemporaryDir directory;
    struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_general_info settings;
    settings.debug_mode_status_bool = settings.debug_print_in_file_bool = true;
    settings.debug_encryption_status_bool = state.range(0) != 0;
    settings.debug_file_path_QString = directory.filePath(QStringLiteral("log"));
    plugin_static_function::set_general_info(settings);
    const QString detail = QStringLiteral("detail");
    while (state.KeepRunning())
        log_line("[log_call] text ", detail);
    plugin_static_function::close_debug_file();
    plugin_static_function::set_essentials();
}
BENCHMARK(log_call_on)->ArgName("enciphered")->Arg(0)->Arg(1);

const QString insert_into_t = QStringLiteral("insert into t values(?,?,?,?,?,?,?,?,?,?,?,?,?,?)");

class result
{
public:
    result()
    {
        db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("pieces"));
        db.setDatabaseName(directory.filePath(QStringLiteral("t.db")));
        db.open();
        QSqlQuery(db).exec(QStringLiteral("create table t(a,b,c,d,e,f,g,h,i,j,k,l,m,n)"));
    }
    ~result()
    {
        db.close();
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase(QStringLiteral("pieces"));
    }

    QTemporaryDir directory;
    QSqlDatabase db;
};

void insert_row(benchmark::State &state)
{
    result target;
    row_writer rows(target.db, insert_into_t, [](const QString &, const QString &) {});
    QStringList row(14, QStringLiteral("a text of some words"));
    while (state.KeepRunning()) {
        row[3] = QString::number(state.iterations());
        benchmark::DoNotOptimize(rows.insert(row));
    }
}
BENCHMARK(insert_row)->Iterations(100000);

void insert_row_bound_by_qt(benchmark::State &state)
{
    result target;
    target.db.transaction();
    {
        QSqlQuery query(target.db);
        query.prepare(insert_into_t);
        const QString text = QStringLiteral("a text of some words");
        while (state.KeepRunning()) {
            for (int i = 0; i < 14; ++i)
                query.addBindValue(text);
            benchmark::DoNotOptimize(query.exec());
        }
    }
    target.db.commit();
}
BENCHMARK(insert_row_bound_by_qt)->Iterations(100000);

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
