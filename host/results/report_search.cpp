#include "host/results/report_search.h"

#include <QHash>

#include <algorithm>

namespace {

constexpr qsizetype max_waiting = 128 << 10;   // bytes of a bucket in memory
constexpr qsizetype min_file_size = 256 << 10; // buckets share a file up to this size
constexpr qsizetype max_piece = 64 << 10;      // bytes of a text that are split at a time
constexpr std::size_t max_words_waiting = 1 << 17;
constexpr char32_t first_unspaced = 0x2e80; // from here on: scripts without blanks between words

/// Scripts that are written without blanks between words.
bool is_word_alone(char32_t c)
{
    const bool is_hangul = c >= 0xac00 && c <= 0xd7a3;
    return c >= first_unspaced && c < 0xff00 && !is_hangul;
}

class word_collector
{
public:
    explicit word_collector(std::vector<QByteArray> &into)
        : words(into)
    {
    }

    void take(char32_t c)
    {
        if (is_word_alone(c)) {
            end();
            words.push_back(QString::fromUcs4(&c, 1).toUtf8());
        } else if (length < search_index::max_word) {
            ++length;
            if (c < 0x80)
                word.append(static_cast<char>(c));
            else
                word.append(QString::fromUcs4(&c, 1).toUtf8());
        }
    }

    void end()
    {
        if (length > 1)
            words.push_back(word);
        word.resize(0);
        length = 0;
    }

private:
    std::vector<QByteArray> &words;
    QByteArray word;
    qsizetype length = 0; ///< characters, those of `word`
};

void collect_ascii(QByteArrayView text, word_collector &out)
{
    for (const char c : text) {
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
            out.take(static_cast<uchar>(c));
        else if (c >= 'A' && c <= 'Z')
            out.take(static_cast<uchar>(c) + U' ');
        else
            out.end();
    }
    out.end();
}

void collect_any(QByteArrayView text, word_collector &out)
{
    const QString folded = QString::fromUtf8(text).normalized(QString::NormalizationForm_KD).toLower();
    for (const char32_t c : folded.toUcs4()) {
        if (QChar::isLetterOrNumber(c))
            out.take(c == U'\u03c2' ? U'\u03c3' : c); // in JavaScript a sigma at the end of a word has its own form
        else if (!QChar::isMark(c))
            out.end();
    }
    out.end();
}

void append_varint(QByteArray &out, quint32 value)
{
    for (; value >= 0x80; value >>= 7)
        out.append(static_cast<char>(value | 0x80));
    out.append(static_cast<char>(value));
}

quint32 take_varint(QByteArrayView &in)
{
    quint32 value = 0;
    for (int shift = 0; !in.empty(); shift += 7) {
        const auto byte = static_cast<uchar>(in.front());
        in = in.sliced(1);
        value |= (byte & 0x7fu) << shift;
        if (byte < 0x80)
            break;
    }
    return value;
}

/// FNV-1a over the first two characters, as UTF-16 code units of which a pair counts as one character.
int bucket_of(QByteArrayView word)
{
    quint32 hash = 2166136261u;
    int characters = 0;
    for (const char c : word) {
        const bool begins = (static_cast<uchar>(c) & 0xc0) != 0x80;
        if (begins && ++characters > 2)
            break;
        hash = (hash ^ static_cast<uchar>(c)) * 16777619u;
    }
    return static_cast<int>(hash % search_index::buckets);
}

maybe_refusal unwritable(const QFile &file)
{
    return refusal{exit_status::bad_result,
                   file.fileName() + QLatin1StringView(": cannot be written (") + file.errorString() +
                       QLatin1StringView("); free some space, or choose another place with --out")};
}

void keep_each_once(std::vector<QByteArray> &words)
{
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
}

/// A beginning of the text that ends with a word, so that a giant text is split in bounded memory.
QByteArrayView first_piece(QByteArrayView text)
{
    if (text.size() <= max_piece)
        return text;
    const QByteArrayView piece = text.first(max_piece);
    qsizetype end = piece.size();
    while (end > 0 && static_cast<uchar>(piece.at(end - 1)) > ' ')
        --end;
    return end > 0 ? piece.first(end) : piece;
}

/// The mails of a word: their numbers as differences, varint after varint.
struct postings
{
    QByteArray differences;
    quint32 last = 0;
};

} // namespace

std::vector<QByteArray> search_words(QByteArrayView utf8)
{
    std::vector<QByteArray> words;
    word_collector collector(words);
    if (std::all_of(utf8.begin(), utf8.end(), [](char c) { return static_cast<uchar>(c) < 0x80; }))
        collect_ascii(utf8, collector);
    else
        collect_any(utf8, collector);
    return words;
}

struct search_index::bucket
{
    QByteArray waiting; ///< number of the mail, length of the word, word
    QFile file;
};

search_index::search_index(const QString &in)
    : directory(in)
{
    for (int i = 0; i < buckets; ++i) {
        all.push_back(std::make_unique<bucket>());
        all.back()->file.setFileName(directory + QStringLiteral("/search-%1.tmp").arg(i));
    }
}

search_index::~search_index()
{
    for (const auto &each : all)
        each->file.remove();
}

void search_index::add(QByteArrayView text)
{
    while (!text.empty()) {
        const QByteArrayView piece = first_piece(text);
        text = text.sliced(piece.size());
        std::vector<QByteArray> more = search_words(piece);
        std::move(more.begin(), more.end(), std::back_inserter(words));
        if (words.size() > max_words_waiting)
            keep_each_once(words);
    }
}

maybe_refusal search_index::finish_mail(quint32 number)
{
    keep_each_once(words);
    maybe_refusal refused;
    for (const QByteArray &word : words) {
        bucket &into = *all[static_cast<std::size_t>(bucket_of(word))];
        append_varint(into.waiting, number);
        append_varint(into.waiting, static_cast<quint32>(word.size()));
        into.waiting.append(word);
        if (into.waiting.size() > max_waiting && !refused)
            refused = spill(into);
    }
    words.clear();
    return refused;
}

maybe_refusal search_index::spill(bucket &full)
{
    if (!full.file.open(QIODevice::WriteOnly | QIODevice::Append))
        return unwritable(full.file);
    full.file.write(full.waiting);
    full.file.close();
    full.waiting.resize(0);
    return full.file.error() == QFileDevice::NoError ? maybe_refusal() : unwritable(full.file);
}

maybe_refusal search_index::append_bucket(bucket &from, json_text &out)
{
    QByteArray records;
    if (from.file.exists()) {
        if (!from.file.open(QIODevice::ReadOnly))
            return unwritable(from.file);
        records = from.file.readAll();
        from.file.close();
        from.file.remove();
    }
    records.append(from.waiting);
    from.waiting = {};
    QHash<QByteArray, postings> found;
    for (QByteArrayView rest = records; !rest.empty();) {
        const quint32 mail = take_varint(rest);
        const auto length = static_cast<qsizetype>(take_varint(rest));
        postings &of_word = found[rest.first(length).toByteArray()];
        rest = rest.sliced(length);
        append_varint(of_word.differences, mail - of_word.last);
        of_word.last = mail;
    }
    QByteArrayList in_order = found.keys();
    std::sort(in_order.begin(), in_order.end());
    for (const QByteArray &word : std::as_const(in_order)) {
        out.text(QByteArrayView(word));
        out.text(QByteArrayView(found.value(word).differences.toBase64()));
    }
    return {};
}

maybe_refusal search_index::write_file(json_text &file)
{
    file.end_list();
    const QString name = QStringLiteral("/search-%1.js").arg(file_begins.size() - 1);
    maybe_refusal refused = write_script(directory + name, "search", static_cast<qint64>(file_begins.size()) - 1, file);
    file.clear();
    return refused;
}

maybe_refusal search_index::write()
{
    json_text file;
    for (int i = 0; i < buckets; ++i) {
        if (file.size() == 0) {
            file.begin_list();
            file_begins.push_back(i);
        }
        if (maybe_refusal refused = append_bucket(*all[static_cast<std::size_t>(i)], file))
            return refused;
        if (file.size() > min_file_size) {
            if (maybe_refusal refused = write_file(file))
                return refused;
        }
    }
    return file.size() == 0 ? maybe_refusal() : write_file(file);
}
