/// Runs a target on the files, and the files of the directories, that are its arguments.
#include "fuzz/fuzz.h"

#include <QDirIterator>
#include <QFileInfo>

#include <cstring>
#include <memory>

namespace {

/// Absolute: a target may change the current directory.
QStringList files_of(const QString &argument)
{
    if (!QFileInfo(argument).isDir())
        return {QFileInfo(argument).absoluteFilePath()};
    QStringList files;
    QDirIterator entries(QFileInfo(argument).absoluteFilePath(), QDir::Files);
    while (entries.hasNext())
        files.append(entries.next());
    files.sort();
    return files;
}

/// From a block of exactly its size, so that the address sanitizer notices reads beyond it.
bool replay(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    const auto size = static_cast<std::size_t>(bytes.size());
    const auto block = std::make_unique<std::uint8_t[]>(size);
    std::memcpy(block.get(), bytes.constData(), size);
    LLVMFuzzerTestOneInput(block.get(), size);
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    LLVMFuzzerInitialize(&argc, &argv);
    QStringList files;
    for (int i = 1; i < argc; ++i)
        files += files_of(QString::fromLocal8Bit(argv[i]));
    for (const QString &path : files) {
        std::printf("%s\n", qPrintable(path));
        std::fflush(stdout); // the last line names the input that ends the program
        if (!replay(path))
            return 1;
    }
    return files.isEmpty() ? 1 : 0;
}
