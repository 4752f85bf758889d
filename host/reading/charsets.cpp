#include "host/reading/charsets.h"

#include "host/reading/gmime.h"

#include <algorithm>
#include <cerrno>

namespace {

constexpr char replacement[] = "\xEF\xBF\xBD"; // U+FFFD
constexpr qsizetype max_problems = 100;        // of one mail
constexpr qsizetype max_charset_name = 64;     // bytes; no known name is longer

class converter
{
public:
    explicit converter(const QByteArray &charset)
    {
        static_cast<void>(lenient_options()); // GMime's table of charset names is ready after this
        const bool plain = !charset.isEmpty() && charset.size() <= max_charset_name &&
                           std::all_of(charset.begin(), charset.end(), [](char c) { return c > ' ' && c < 0x7f; });
        // "//" and anything after it would change how the C library converts.
        if (plain && !charset.contains('/'))
            handle = g_mime_iconv_open("UTF-8", charset.constData());
    }
    ~converter()
    {
        if (is_open())
            g_mime_iconv_close(handle);
    }
    Q_DISABLE_COPY_MOVE(converter)

    [[nodiscard]] bool is_open() const { return handle != not_open(); }

    /// The bytes in UTF-8, with U+FFFD for each byte that cannot be converted.
    QByteArray convert(QByteArrayView bytes, qsizetype &replaced)
    {
        QByteArray result;
        QByteArray block(64 * 1024, Qt::Uninitialized);
        std::size_t left = static_cast<std::size_t>(bytes.size());
        char *in = const_cast<char *>(bytes.data()); // iconv does not write there
        bool flushed = false;
        while (!flushed) {
            const bool flush = left == 0;
            char *out = block.data();
            std::size_t room = static_cast<std::size_t>(block.size());
            const std::size_t done = iconv(handle, flush ? nullptr : &in, &left, &out, &room);
            result.append(block.constData(), out - block.data());
            if (done == static_cast<std::size_t>(-1) && errno != E2BIG) {
                result.append(replacement);
                ++replaced;
                if (left > 0) {
                    ++in;
                    --left;
                }
            }
            flushed = flush && (done != static_cast<std::size_t>(-1) || errno != E2BIG);
        }
        return result;
    }

private:
    static iconv_t not_open() { return reinterpret_cast<iconv_t>(-1); } // NOLINT(performance-no-int-to-ptr)

    iconv_t handle = not_open();
};

bool is_ascii(QByteArrayView bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<uchar>(c) < 0x80; });
}

bool means_utf8(const QByteArray &charset)
{
    static const QByteArrayList names = {"utf-8", "utf8", "unicode-1-1-utf-8", "us-ascii", "ascii", "ansi_x3.4-1968"};
    return names.contains(charset);
}

/// Character sets in which a text of ASCII bytes may mean something else.
bool may_shift(const QByteArray &charset)
{
    return charset.startsWith("iso-2022") || charset.startsWith("utf-7") || charset.startsWith("utf-16") ||
           charset.startsWith("utf-32") || charset.startsWith("hz") || charset.startsWith("ucs") ||
           charset.startsWith("ibm") || charset.startsWith("cp") || charset.contains("ebcdic") ||
           charset.startsWith("unicode") || charset.startsWith("csiso");
}

} // namespace

void add_problem(QByteArrayList &problems, const QByteArray &sentence)
{
    if (problems.size() > max_problems || problems.contains(sentence))
        return;
    problems.append(problems.size() < max_problems ? sentence : QByteArray("There are further problems."));
}

bool is_utf8(QByteArrayView bytes)
{
    return g_utf8_validate_len(bytes.data(), static_cast<gsize>(bytes.size()), nullptr) ||
           (bytes.contains('\0') && QString::fromUtf8(bytes).toUtf8() == bytes);
}

QByteArray to_utf8(QByteArrayView bytes, const QByteArray &charset, const QByteArray &likely, const char *what,
                   QByteArrayList &problems)
{
    const QByteArray declared = charset.toLower();
    const bool shifts = may_shift(declared);
    if (!shifts && is_ascii(bytes))
        return bytes.toByteArray();
    qsizetype replaced = 0;
    const auto note_replaced = [&](const QByteArray &name) {
        if (replaced > 0)
            add_problem(problems, what + (" has bytes that are not " + name) + "; they are shown as U+FFFD.");
    };
    if (!declared.isEmpty() && !means_utf8(declared)) {
        converter declared_set(declared);
        if (declared_set.is_open()) {
            QByteArray result = declared_set.convert(bytes, replaced);
            note_replaced(declared);
            return result;
        }
        add_problem(problems,
                    what + QByteArray(" has an unknown character set (") + declared.left(max_charset_name) + ").");
    }
    if (is_utf8(bytes)) {
        if (declared != "utf-8" && declared != "utf8")
            add_problem(problems, what + QByteArray(" has 8-bit characters without a character set; read as UTF-8."));
        return bytes.toByteArray();
    }
    if (declared == "utf-8" || declared == "utf8") {
        // Mostly UTF-8, with a few damaged bytes.
        QByteArray result = converter("utf-8").convert(bytes, replaced);
        note_replaced("utf-8");
        return result;
    }
    const QByteArray guess =
        !likely.isEmpty() && !means_utf8(likely) && converter(likely).is_open() ? likely : QByteArray("windows-1252");
    QByteArray result = converter(guess).convert(bytes, replaced);
    add_problem(problems, what + QByteArray(" has 8-bit characters without a character set; read as ") + guess + '.');
    note_replaced(guess);
    return result;
}
