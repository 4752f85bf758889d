/// Free file names against listing the directory each time. A line of the input is a wanted name; its file is made.
#include "common/free_file_names.h"

#include "fuzz/fuzz.h"
#include "tests/support/slow_names.h"

#include <QTemporaryDir>

#include <filesystem>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr qsizetype max_names = 12;
    fuzz_input input(data, size);
    const int there_before = input.setting(8);
    static const QTemporaryDir directory; // emptied for the next input
    const QString path = directory.path() + u'/';
    std::optional<free_file_names> names;
    cancel_flag cancelled;
    qsizetype line_number = 0;
    for (const QByteArray &line : input.rest().toByteArray().split('\n').mid(0, max_names)) {
        if (line_number++ == there_before)
            names.emplace(path, cancelled);
        // A bare name, as the extractor asks for. Qt lists names without their byte order mark.
        const QString text = QString::fromUtf8(line).remove(QChar(QChar::ByteOrderMark));
        const QString wanted = text.mid(text.lastIndexOf(u'/') + 1);
        const QString name = names ? names->next(wanted, cancelled) : wanted;
        if (names)
            expect_same(name, free_name_by_listing(path, wanted), "free name");
        QFile file(path + name);
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly) && names)
            names->created(name);
    }
    for (const auto &entry : std::filesystem::directory_iterator(path.toStdString()))
        std::filesystem::remove(entry);
    return 0;
}
