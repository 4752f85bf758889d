#include "host/reading/mail_structure.h"

#include "host/reading/charsets.h"

#include <algorithm>
#include <cstring>

namespace {

bool is_line_end(char c)
{
    return c == '\n' || c == '\r';
}

/// The bytes without their last line end.
QByteArrayView without_line_end(QByteArrayView bytes)
{
    if (bytes.endsWith("\r\n"))
        return bytes.chopped(2);
    return !bytes.isEmpty() && is_line_end(bytes.back()) ? bytes.chopped(1) : bytes;
}

/// A field's name and its colon.
bool begins_field(QByteArrayView line)
{
    const auto end = std::find_if(line.begin(), line.end(), [](char c) { return c <= ' ' || c >= 0x7f || c == ':'; });
    return end != line.end() && *end == ':';
}

class structure_reader
{
public:
    explicit structure_reader(QByteArrayView mail)
        : bytes(mail)
    {
    }

    mail_structure run(const QByteArray &prefix, int embedded);

private:
    enum class boundary { none, part, end };

    [[nodiscard]] QByteArrayView line_at(qsizetype place) const;
    [[nodiscard]] static boundary match(QByteArrayView line, const QByteArray &name);
    [[nodiscard]] bool ends_enclosing(QByteArrayView line) const;
    [[nodiscard]] QByteArrayView next_line() const;
    [[nodiscard]] bool goes_on_after(QByteArrayView line) const;
    void skip_body();

    void read_entity(const QByteArray &prefix, int number, int level, int embedded, bool in_digest);
    void read_header(mail_entity &entity);
    void read_body(std::size_t index, const QByteArray &prefix, int number, int level);
    bool read_multipart(std::size_t index, int level, qsizetype &end);
    void read_embedded(std::size_t index, int level);
    void problem(const QByteArray &sentence) { add_problem(result.problems, sentence); }

    QByteArrayView bytes;
    qsizetype at = 0;
    qsizetype header_lines = 0;
    std::vector<QByteArray> enclosing; // boundaries of the multiparts around the current part
    bool full = false;
    mail_structure result;
};

QByteArrayView structure_reader::line_at(qsizetype place) const
{
    const auto end = std::find_if(bytes.begin() + place, bytes.end(), is_line_end);
    qsizetype size = end - bytes.begin() - place;
    if (end != bytes.end())
        size += *end == '\r' && end + 1 != bytes.end() && end[1] == '\n' ? 2 : 1;
    return bytes.sliced(place, size);
}

structure_reader::boundary structure_reader::match(QByteArrayView line, const QByteArray &name)
{
    if (line.size() < name.size() + 2 || !line.startsWith("--") || !line.sliced(2).startsWith(name))
        return boundary::none;
    QByteArrayView rest = without_line_end(line.sliced(2 + name.size()));
    const boundary found = rest.startsWith("--") ? boundary::end : boundary::part;
    if (found == boundary::end)
        rest = rest.sliced(2);
    return std::all_of(rest.begin(), rest.end(), [](char c) { return c == ' ' || c == '\t'; }) ? found : boundary::none;
}

bool structure_reader::ends_enclosing(QByteArrayView line) const
{
    return line.startsWith("--") && std::any_of(enclosing.begin(), enclosing.end(), [line](const QByteArray &name) {
               return match(line, name) != boundary::none;
           });
}

/// Empty at the end of the mail, and at a boundary of an enclosing multipart.
QByteArrayView structure_reader::next_line() const
{
    const QByteArrayView line = line_at(at);
    return ends_enclosing(line) ? QByteArrayView() : line;
}

/// True when a header goes on after the current line.
bool structure_reader::goes_on_after(QByteArrayView line) const
{
    const QByteArrayView next = line_at(at + line.size());
    return next.startsWith(' ') || next.startsWith('\t') || begins_field(next);
}

/// Skip to the next boundary of an enclosing multipart, or to the end.
void structure_reader::skip_body()
{
    if (enclosing.empty()) {
        at = bytes.size();
        return;
    }
    while (at < bytes.size()) {
        const void *found = memmem(bytes.data() + at, static_cast<std::size_t>(bytes.size() - at), "--", 2);
        if (!found)
            break;
        const qsizetype place = static_cast<const char *>(found) - bytes.data();
        const bool begins_line = place == 0 || is_line_end(bytes[place - 1]);
        if (begins_line && ends_enclosing(line_at(place))) {
            at = place;
            return;
        }
        at = place + 1;
        while (at < bytes.size() && bytes[at] == '-') // a line of hyphens
            ++at;
        at = std::max(at - 1, place + 1);
    }
    at = bytes.size();
}

/// Read up to the empty line, which belongs to neither header nor body. A line that is not part of any field begins the
/// body.
void structure_reader::read_header(mail_entity &entity)
{
    const qsizetype begin = at;
    bool field_open = false;
    while (true) {
        const QByteArrayView line = next_line();
        const bool goes_on = line.startsWith(' ') || line.startsWith('\t');
        const bool is_envelope = line.startsWith("From ");
        if (line.isEmpty() || !(goes_on || is_envelope || begins_field(line)))
            break;
        if (is_envelope && at > begin && !goes_on_after(line))
            break; // the first line of the body
        at += line.size();
        if (++header_lines > max_header_lines)
            continue;
        const QByteArrayView content = without_line_end(line);
        if (goes_on) {
            if (field_open)
                entity.fields.extend_last(content.end());
            continue;
        }
        const qsizetype colon = content.indexOf(':');
        field_open = colon > 0 && !is_envelope;
        if (field_open)
            entity.fields.append({content.first(colon), content.sliced(colon + 1)});
    }
    entity.header = bytes.sliced(begin, at - begin);
    const QByteArrayView line = next_line();
    if (!line.isEmpty() && is_line_end(line.front()))
        at += line.size();
    else if (!line.isEmpty())
        problem("A header ends at a line that is not part of any field; the text after it is taken as the body.");
    if (header_lines > max_header_lines)
        problem("There are more than " + QByteArray::number(max_header_lines) +
                " header lines; the fields after them were not read.");
}

void structure_reader::read_entity(const QByteArray &prefix, int number, int level, int embedded, bool in_digest)
{
    full = full || qsizetype(result.entities.size()) >= max_parts;
    if (full) {
        problem("There are more than " + QByteArray::number(max_parts) + " parts; those after them were not read.");
        skip_body();
        return;
    }
    const std::size_t index = result.entities.size();
    mail_entity &entity = result.entities.emplace_back();
    entity.embedded = embedded;
    read_header(entity);
    field_context context = {{}, result.problems};
    const QByteArray type_field = entity.fields.first("content-type");
    entity.type = content_type(type_field, context);
    if (entity.type.has_too_many_parameters)
        problem("A Content-Type has too many parameters to be read.");
    if (entity.type.type.isEmpty())
        entity.type.type = in_digest && type_field.isEmpty() ? "message/rfc822" : "text/plain";
    read_body(index, prefix, number, level);
}

/// `number` is that of the part within its multipart, or 0 for the body of a message.
void structure_reader::read_body(std::size_t index, const QByteArray &prefix, int number, int level)
{
    const auto path_of = [&](int part) -> QByteArray {
        return (prefix.isEmpty() ? prefix : prefix + '.') + QByteArray::number(part);
    };
    mail_entity &entity = result.entities.at(index);
    const QByteArray type = entity.type.type;
    const qsizetype begin = at;
    qsizetype end = -1; // of the body, if reading goes on elsewhere
    const bool is_multipart = type.startsWith("multipart/");
    const bool opens = level < max_levels;
    if (is_multipart && !entity.type.boundary.isEmpty() && opens) {
        entity.path = number == 0 ? prefix : path_of(number);
        if (read_multipart(index, level, end))
            return;
    } else {
        const bool is_message = is_message_type(type);
        const QByteArray encoding = entity.fields.first("content-transfer-encoding").toLower();
        const bool encoded = encoding == "base64" || encoding == "quoted-printable";
        if (is_message && !encoded && opens && entity.embedded < max_embedded_levels) {
            entity.what = mail_entity::kind::message;
            entity.path = path_of(qMax(number, 1));
            read_embedded(index, level);
        } else {
            if (is_multipart || (is_message && !encoded))
                problem(is_multipart && opens ? "A multipart names no boundary; it is kept as one part."
                                              : "Parts are nested too deep; the innermost is kept as one part.");
            skip_body();
        }
    }
    mail_entity &read = result.entities.at(index); // others were added
    read.path = path_of(qMax(number, 1));
    read.body = bytes.sliced(begin, (end < 0 ? at : end) - begin);
    // The line end before a boundary belongs to the boundary.
    if (!enclosing.empty() && !is_multipart)
        read.body = without_line_end(read.body);
}

/// False when its boundary never comes; then it is one part, which ends at its closing boundary or at that of an
/// enclosing multipart.
bool structure_reader::read_multipart(std::size_t index, int level, qsizetype &end)
{
    const QByteArray name = result.entities.at(index).type.boundary;
    const QByteArray path = result.entities.at(index).path;
    const bool is_digest = result.entities.at(index).type.type == "multipart/digest";
    const int embedded = result.entities.at(index).embedded;
    // The preamble is skipped as a body: up to the multipart's own boundary, or an enclosing one.
    enclosing.push_back(name);
    skip_body();
    enclosing.pop_back();
    boundary found = at < bytes.size() && !ends_enclosing(line_at(at)) ? match(line_at(at), name) : boundary::none;
    if (found != boundary::part) {
        end = at;
        if (found == boundary::end)
            at += line_at(at).size();
        problem("A multipart's boundary never comes; it is kept as one part.");
        skip_body();
        return false;
    }
    result.entities.at(index).what = mail_entity::kind::multipart;
    for (int number = 1; found == boundary::part; ++number) {
        while (match(line_at(at), name) != boundary::none && !ends_enclosing(line_at(at)) && at < bytes.size())
            at += line_at(at).size(); // no part between adjacent boundaries
        enclosing.push_back(name);
        read_entity(path, number, level + 1, embedded, is_digest);
        enclosing.pop_back();
        found = at < bytes.size() && !ends_enclosing(line_at(at)) ? match(line_at(at), name) : boundary::none;
    }
    if (found == boundary::none)
        problem("A multipart has no closing boundary; the mail may be cut short.");
    skip_body(); // its epilogue
    return true;
}

void structure_reader::read_embedded(std::size_t index, int level)
{
    const mail_entity &outer = result.entities.at(index);
    read_entity(QByteArray(outer.path), 0, level + 1, outer.embedded + 1, false);
}

mail_structure structure_reader::run(const QByteArray &prefix, int embedded)
{
    read_entity(prefix, 0, 0, embedded, false);
    return std::move(result);
}

} // namespace

mail_structure structure_of(QByteArrayView mail, const QByteArray &prefix, int embedded)
{
    return structure_reader(mail).run(prefix, embedded);
}
