/// The reader of debug logs against one that has the whole file in memory.
#include "host/log_file.h"

#include "fuzz/fuzz.h"
#include "tests/support/slow_log.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {

struct pieces_read
{
    QList<QByteArray> pieces; ///< as they are in the file
    QList<qint64> offsets;
};

pieces_read pieces_from(const QString &path, const QByteArray &file, int block_size, qint64 offset)
{
    pieces_read found;
    log_file log(path, block_size);
    expect(log.open(offset), "the file is readable");
    for (log_file::piece piece; log.next(piece);) {
        found.pieces.append(file.mid(piece.offset, piece.size));
        found.offsets.append(piece.offset);
        expect(piece.readable || piece.line.isEmpty(), "an unreadable piece has no text");
        expect(!tells_failure(piece.line) || piece.line.toUpper().contains("FAILED"), "a failure");
    }
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_input input(data, size);
    const int resumed_at = input.setting(64);
    const int block_size = 1 + input.setting(256);
    const QByteArray file = input.rest().toByteArray();

    const int memory = ::memfd_create("log", 0);
    const QString path = QStringLiteral("/proc/self/fd/%1").arg(memory);
    expect(::write(memory, file.constData(), static_cast<std::size_t>(file.size())) == file.size(),
           "memory is available");
    const QList<QByteArray> expected = log_pieces_one_by_one(file);
    const auto [pieces, offsets] = pieces_from(path, file, block_size, 0);
    expect_same(pieces, expected, "pieces");
    if (resumed_at < pieces.size())
        expect_same(pieces_from(path, file, block_size, offsets.at(resumed_at)).pieces, expected.mid(resumed_at),
                    "resumed pieces");
    ::close(memory);
    return 0;
}
