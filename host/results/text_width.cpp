#include "host/results/text_width.h"

#include <algorithm>
#include <clocale>
#include <cwchar>

namespace {

/// A locale with all of Unicode, independent of the user's.
class unicode_locale
{
public:
    unicode_locale()
        : before(uselocale(locale()))
    {
    }
    ~unicode_locale() { uselocale(before); }
    Q_DISABLE_COPY_MOVE(unicode_locale)

private:
    static locale_t locale()
    {
        static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return unicode ? unicode : LC_GLOBAL_LOCALE;
    }

    locale_t before;
};

bool is_plain(const QString &text)
{
    return std::all_of(text.begin(), text.end(), [](QChar each) { return each.unicode() < 0x7F; });
}

/// How many UTF-16 units of the text fit, and the columns they fill.
std::pair<qsizetype, int> fitting(const QString &text, int width)
{
    const unicode_locale in_use;
    int filled = 0;
    for (qsizetype i = 0; i < text.size();) {
        const bool pair = text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        const char32_t character = pair ? QChar::surrogateToUcs4(text.at(i), text.at(i + 1)) : text.at(i).unicode();
        const int columns = std::max(0, wcwidth(static_cast<wchar_t>(character)));
        if (filled + columns > width)
            return {i, filled};
        filled += columns;
        i += pair ? 2 : 1;
    }
    return {text.size(), filled};
}

} // namespace

int width_of(const QString &text)
{
    constexpr int unlimited = 1 << 30;
    return is_plain(text) ? static_cast<int>(text.size()) : fitting(text, unlimited).second;
}

QString cut_to_width(const QString &text, int width)
{
    if (text.size() <= width / 2 || width_of(text) <= width)
        return text;
    const qsizetype kept = is_plain(text) ? qMax(0, width - 1) : fitting(text, width - 1).first;
    return text.first(kept) + QChar(u'…');
}
