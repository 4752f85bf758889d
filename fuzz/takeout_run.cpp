/// A whole run of the plug-in on one mail file: as many rows as there are messages, and no files outside their place.
#include "fuzz/fuzz.h"
#include "tests/support/slow_splitter.h"
#include "tests/support/support.h"

#include <QApplication>

namespace {

QStringList entries_of(const QString &directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz_takeout_run";
    static char *argv[] = {name, nullptr};
    static const auto *application = new QApplication(argc, argv); // never destroyed: statics of Qt go first
    expect(application, "an application");

    const QByteArray file = fuzz_input(data, size).rest().toByteArray();
    // One result for all inputs, emptied for each: creating it takes longer than a run.
    static auto *const session = [] {
        auto *made = new plugin_session(QStringLiteral("gTakeoutOS"));
        made->prepare({QStringLiteral("messages")});
        return made;
    }();
    write_file(session->source(QStringLiteral("Mail/a.mbox")), file);
    session->plugin.pub_set_clear_db(true);
    const QStringList before = entries_of(session->result());
    session->extract();
    expect_same(rows_of(session->database(), QStringLiteral("select count(*) from messages")),
                {QString::number(split_slowly(file, 0).size())}, "number of rows");
    expect_same(entries_of(session->result()), before, "entries of the result");
    expect_same(entries_of(session->source(QStringLiteral("Mail"))), {QStringLiteral("a.mbox")},
                "entries of the source");
    expect_same(read_file(session->source(QStringLiteral("Mail/a.mbox"))), file, "the source");
    return 0;
}
