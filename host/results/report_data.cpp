#include "host/results/report_data.h"

#include "host/results/attachment_kind.h"
#include "host/results/report_details.h"

#include <QSet>

namespace {

constexpr qint64 max_index_mails = 4096;
constexpr qsizetype max_file_size = 512 << 10; // a file ends with the mail that makes it larger
constexpr qsizetype max_subject = 500;         // bytes of a subject in the index

/// The facts about a mail that the page filters by, as bits of one number (`Flag` in `data.ts`).
enum class mail_flag { has_files, no_text, html_only, no_row, has_problems };

qint64 flag_if(bool is_so, mail_flag flag)
{
    return is_so ? qint64(1) << static_cast<int>(flag) : 0;
}

void number_or_null(json_text &out, const std::optional<qint64> &value)
{
    if (value)
        out.number(*value);
    else
        out.null();
}

/// At most `max` bytes, not ending within a character.
QByteArrayView beginning(QByteArrayView text, qsizetype max)
{
    if (text.size() <= max)
        return text;
    while (max > 0 && (static_cast<uchar>(text.at(max)) & 0xc0) == 0x80)
        --max;
    return text.first(max);
}

void write_numbers(json_text &out, const char *key, const std::vector<qint64> &numbers)
{
    out.key(key);
    out.begin_list();
    for (const qint64 number : numbers)
        out.number(number);
    out.end_list();
}

void write_texts(json_text &out, const char *key, const numbered_texts &numbered)
{
    out.key(key);
    out.begin_list();
    for (qsizetype i = 0; i < numbered.texts.size(); ++i) {
        out.text(QByteArrayView(numbered.texts.at(i)));
        out.number(numbered.counts.at(i));
    }
    out.end_list();
}

/// A reading that was cancelled may not have reached the comparison of the mails with their rows.
maybe_refusal find_comparison(const result_reader &reader, bool &is_compared)
{
    sqlite_statement found =
        reader.query("select exists(select 1 from mail_db.mail where row is not null or row_note is not null)"
                     " or exists(select 1 from mail_db.difference)");
    is_compared = found.next() && found.number(0) != 0;
    return reader.failure(found);
}

} // namespace

qint64 numbered_texts::number_of(const QByteArray &text)
{
    const auto known = numbers.constFind(text);
    if (known != numbers.constEnd()) {
        ++counts[*known];
        return *known;
    }
    texts.append(text);
    counts.append(1);
    return numbers[text] = texts.size() - 1;
}

report_data::report_data(const QString &in)
    : directory(in)
    , search(in)
{
}

maybe_refusal report_data::write(const result_reader &reader, const std::function<bool()> &go_on)
{
    with_mail = reader.has_mail();
    thread_numbers threads;
    if (with_mail) {
        if (maybe_refusal refused = find_comparison(reader, is_compared))
            return refused;
        if (maybe_refusal refused = threads.find(reader))
            return refused;
    }
    const std::unique_ptr<report_mails> all = report_mails::of(reader);
    report_mail mail;
    while (go_on() && all->next(mail)) {
        if (maybe_refusal refused = add(mail, threads.of(mails)))
            return refused;
    }
    if (maybe_refusal refused = all->failure())
        return refused;
    for (const auto &finish :
         {&report_data::finish_index, &report_data::finish_details, &report_data::finish_sources}) {
        if (maybe_refusal refused = (this->*finish)())
            return refused;
    }
    return search.write();
}

maybe_refusal report_data::add(const report_mail &mail, qint64 thread)
{
    if (index_begins.empty() || mails - index_begins.back() == max_index_mails) {
        if (maybe_refusal refused = finish_index())
            return refused;
        index_begins.push_back(mails);
        for (json_text *column : {&index.ids, &index.dates, &index.subjects, &index.from, &index.to, &index.labels,
                                  &index.kinds, &index.marks, &index.flags, &index.sizes, &index.threads, &index.places,
                                  &index.rows, &index.files, &new_people})
            column->begin_list();
    }
    add_to_index(mail, thread);
    if (details.size() == 0) {
        detail_begins.push_back(mails);
        details.begin_list();
    }
    write_details(details, mail);
    if (sources.size() == 0) {
        source_begins.push_back(mails);
        sources.begin_list();
    }
    write_source(sources, mail);
    add_words(mail);
    if (maybe_refusal refused = search.finish_mail(static_cast<quint32>(mails++)))
        return refused;
    if (details.size() > max_file_size) {
        if (maybe_refusal refused = finish_details())
            return refused;
    }
    return sources.size() > max_file_size ? finish_sources() : maybe_refusal();
}

void report_data::add_to_index(const report_mail &mail, qint64 thread)
{
    qint64 kinds = 0, files = 0;
    for (const report_mail::part &part : mail.parts) {
        if (!part.is_text) {
            kinds |= qint64(1) << static_cast<int>(kind_of_attachment(part.media_type, part.name));
            ++files;
        }
    }
    const bool has_text = !mail.text.isEmpty();
    const bool has_html = !mail.html.isEmpty();
    index.ids.number(mail.id);
    number_or_null(index.dates, mail.date);
    index.subjects.text(beginning(mail.subject, max_subject));
    add_people(mail);
    index.labels.begin_list();
    for (const QByteArray &label : mail.labels)
        index.labels.number(labels.number_of(label));
    index.labels.end_list();
    index.kinds.number(kinds);
    add_marks(mail);
    index.flags.number(flag_if(files > 0, mail_flag::has_files) | flag_if(!has_text && !has_html, mail_flag::no_text) |
                       flag_if(!has_text && has_html, mail_flag::html_only) |
                       flag_if(is_compared && !mail.row, mail_flag::no_row) |
                       flag_if(!mail.problems.isEmpty(), mail_flag::has_problems));
    index.sizes.number(mail.length.value_or(0));
    index.threads.number(thread);
    index.places.number(places.number_of(mail.source_count_name + '\n' + mail.source_file));
    number_or_null(index.rows, mail.row);
    index.files.number(files);
    mails_without_row += is_compared && !mail.row ? 1 : 0;
    all_files += files;
    if (mail.date) {
        first_date = qMin(*mail.date, first_date.value_or(*mail.date));
        last_date = qMax(*mail.date, last_date.value_or(*mail.date));
    }
}

void report_data::add_people(const report_mail &mail)
{
    qint64 from = -1;
    QSet<qint64> seen;
    index.to.begin_list();
    for (const report_mail::address &each : mail.addresses) {
        if (each.role == "from" && from < 0) {
            from = number_of_person(each);
        } else if (each.role != "sender" && each.role != "reply-to") {
            const qint64 number = number_of_person(each);
            if (!seen.contains(number))
                index.to.number(number);
            seen.insert(number);
        }
    }
    index.to.end_list();
    index.from.number(from);
}

qint64 report_data::number_of_person(const report_mail::address &person)
{
    const QByteArray as_written = person.name + '\0' + person.address;
    const auto known = people.constFind(as_written);
    if (known != people.constEnd())
        return *known;
    const qint64 number = people.size();
    people.insert(as_written, number);
    const QString key = QString::fromUtf8(person.address.isEmpty() ? person.name : person.address).toLower();
    const auto correspondent = correspondents.constFind(key);
    new_people.text(beginning(person.name, max_subject));
    new_people.text(beginning(person.address, max_subject));
    new_people.number(correspondent == correspondents.constEnd() ? *correspondents.insert(key, number)
                                                                 : *correspondent);
    return number;
}

void report_data::add_marks(const report_mail &mail)
{
    QSet<qint64> seen;
    index.marks.begin_list();
    const auto mark = [this, &seen](const QByteArray &name) {
        if (seen.contains(marks.texts.indexOf(name)))
            return;
        const qint64 number = marks.number_of(name);
        seen.insert(number);
        index.marks.number(number);
    };
    for (const report_mail::difference &each : mail.differences)
        mark(each.field + '/' + each.kind);
    for (const report_mail::stored_file &each : mail.files) {
        if (each.kind != "identical")
            mark("file/" + each.kind);
    }
    index.marks.end_list();
}

void report_data::add_words(const report_mail &mail)
{
    search.add(mail.subject);
    search.add(mail.text.isEmpty() ? mail.html_text : mail.text);
    for (const report_mail::address &each : mail.addresses) {
        search.add(each.name);
        search.add(each.address);
    }
    for (const report_mail::part &each : mail.parts)
        search.add(each.name);
    for (const QByteArray &label : mail.labels)
        search.add(label);
}

maybe_refusal report_data::finish_index()
{
    if (index_begins.empty())
        return {};
    json_text whole;
    whole.begin_object();
    const std::pair<const char *, json_text *> columns[] = {
        {"id", &index.ids},      {"date", &index.dates},    {"subject", &index.subjects}, {"from", &index.from},
        {"to", &index.to},       {"labels", &index.labels}, {"kinds", &index.kinds},      {"marks", &index.marks},
        {"flags", &index.flags}, {"size", &index.sizes},    {"thread", &index.threads},   {"place", &index.places},
        {"row", &index.rows},    {"files", &index.files},   {"people", &new_people}};
    for (const auto &[name, column] : columns) {
        column->end_list();
        whole.key(name);
        whole.value(*column);
        column->clear();
    }
    whole.end_object();
    const auto number = static_cast<qint64>(index_begins.size()) - 1;
    return write_script(directory + QStringLiteral("/mails-%1.js").arg(number), "mails", number, whole);
}

maybe_refusal report_data::finish_details()
{
    if (details.size() == 0)
        return {};
    details.end_list();
    const auto number = static_cast<qint64>(detail_begins.size()) - 1;
    maybe_refusal refused =
        write_script(directory + QStringLiteral("/details-%1.js").arg(number), "details", number, details);
    details.clear();
    return refused;
}

maybe_refusal report_data::finish_sources()
{
    if (sources.size() == 0)
        return {};
    sources.end_list();
    const auto number = static_cast<qint64>(source_begins.size()) - 1;
    maybe_refusal refused =
        write_script(directory + QStringLiteral("/source-%1.js").arg(number), "source", number, sources);
    sources.clear();
    return refused;
}

void report_data::describe(json_text &out) const
{
    out.key("mails");
    out.begin_object();
    out.key("count");
    out.number(mails);
    out.key("from_mail");
    out.number(with_mail ? 1 : 0);
    out.key("compared");
    out.number(is_compared ? 1 : 0);
    out.key("without_row");
    out.number(mails_without_row);
    out.key("files");
    out.number(all_files);
    out.key("first_date");
    number_or_null(out, first_date);
    out.key("last_date");
    number_or_null(out, last_date);
    write_numbers(out, "index", index_begins);
    write_numbers(out, "details", detail_begins);
    write_numbers(out, "source", source_begins);
    write_numbers(out, "search", {search.first_buckets().begin(), search.first_buckets().end()});
    out.key("people");
    out.number(correspondents.size());
    write_texts(out, "labels", labels);
    write_texts(out, "marks", marks);
    write_texts(out, "places", places);
    out.end_object();
}
