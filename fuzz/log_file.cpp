/// The reader of debug logs against one that has the whole file in memory.
#include "host/log_file.h"

#include "fuzz/fuzz.h"
#include "tests/support/slow_log.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr qsizetype block_size = 1024 * 1024;

struct pieces_read
{
    QList<QByteArray> pieces; ///< as they stand in the file
    QList<qint64> offsets;
};

pieces_read pieces_from(const QString &path, const QByteArray &file, qint64 offset)
{
    pieces_read found;
    log_file log(path);
    expect(log.open(offset), "the file is readable");
    for (log_file::piece piece; log.next(piece);) {
        found.pieces.append(file.mid(piece.offset, piece.size));
        found.offsets.append(piece.offset);
        expect(piece.readable || piece.line.isEmpty(), "what is unreadable has no text");
        expect(!tells_failure(piece.line) || piece.line.toUpper().contains("FAILED"), "a failure");
    }
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_input input(data, size);
    const int resumed_at = input.setting(64);
    const bool across_block_end = input.setting(32) == 1;
    const qsizetype padding = across_block_end ? block_size - input.setting(256) : 0;
    const QByteArray file = (padding > 0 ? '[' + QByteArray(padding - 2, 'x') + '\n' : QByteArray()) + input.rest();

    const int memory = ::memfd_create("log", 0);
    const QString path = QStringLiteral("/proc/self/fd/%1").arg(memory);
    expect(::write(memory, file.constData(), static_cast<std::size_t>(file.size())) == file.size(), "memory is there");
    const QList<QByteArray> expected = log_pieces_one_by_one(file);
    const auto [pieces, offsets] = pieces_from(path, file, 0);
    expect_same(pieces, expected, "pieces");
    if (resumed_at < pieces.size())
        expect_same(pieces_from(path, file, offsets.at(resumed_at)).pieces, expected.mid(resumed_at), "resumed pieces");
    ::close(memory);
    return 0;
}
