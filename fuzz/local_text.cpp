/// Which lines survive the conversion to text and back, against doing that conversion.
#include "extractors/takeout/local_text.h"

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayView lines = fuzz_input(data, size).rest();
    qsizetype surviving = 0;
    while (surviving < lines.size()) {
        const qsizetype line_feed = lines.indexOf('\n', surviving);
        const qsizetype end = line_feed < 0 ? lines.size() : line_feed + 1;
        const QByteArrayView line = lines.sliced(surviving, end - surviving);
        if (local_text::converted(line) != line)
            break;
        surviving = end;
    }
    expect_same(local_text::surviving_lines(lines), surviving, "surviving lines");
    return 0;
}
