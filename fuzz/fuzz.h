/// Shared by all fuzz targets. A target is a file with one function, LLVMFuzzerTestOneInput; it ends the program when
/// an answer is wrong, and the fuzzer keeps the input.
#pragma once

#include <QByteArrayView>
#include <QDebug>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

/// The bytes of an input. Targets that have settings take them from the first bytes.
class fuzz_input
{
public:
    fuzz_input(const std::uint8_t *data, std::size_t size)
        : bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size))
    {
    }

    /// The next byte as a number below `limit`; 0 when there is none left.
    int setting(int limit)
    {
        if (bytes.isEmpty())
            return 0;
        const int value = static_cast<std::uint8_t>(bytes.front()) % limit;
        bytes = bytes.sliced(1);
        return value;
    }

    /// The rest. The view ends where the input does, so that reading beyond it is noticed.
    [[nodiscard]] QByteArrayView rest() const { return bytes; }

private:
    QByteArrayView bytes;
};

/// End the program unless this is true.
inline void expect(bool is_true, const char *what)
{
    if (is_true)
        return;
    std::fprintf(stderr, "wrong: %s\n", what);
    std::abort();
}

/// End the program unless both are the same, and show both.
template <class Value>
void expect_same(const Value &found, const Value &expected, const char *what)
{
    if (!(found == expected)) {
        QString text;
        QDebug(&text) << "found" << found << "\nexpected" << expected;
        std::fprintf(stderr, "%s\n", qPrintable(text));
    }
    expect(found == expected, what);
}
