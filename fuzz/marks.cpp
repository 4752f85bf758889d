/// The marks of a message, all found in one pass, against a plain search for each.
#include "fuzz/fuzz.h"
#include "tests/support/slow_mail.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayView bytes = fuzz_input(data, size).rest();
    const char *mark = mark_found_elsewhere(QByteArray::fromRawData(bytes.data(), bytes.size()));
    expect(!mark, mark);
    return 0;
}
