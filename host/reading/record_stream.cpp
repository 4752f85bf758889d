#include "host/reading/record_stream.h"

#include <QDataStream>
#include <QIODevice>

namespace {

// One list of members for both directions, so that reading matches writing.

template <typename Stream, typename Address>
void pass_address(Stream &stream, Address &address)
{
    stream(address.role);
    stream(address.position);
    stream(address.name);
    stream(address.address);
}

template <typename Stream, typename Row>
void pass_row(Stream &stream, Row &row)
{
    stream(row.digest);
    stream(row.rest);
}

template <typename Stream, typename Part>
void pass_part(Stream &stream, Part &part)
{
    for (auto *text : {&part.path, &part.media_type, &part.charset, &part.name, &part.disposition, &part.content_id,
                       &part.encoding, &part.sha256, &part.extension, &part.spool_file})
        stream(*text);
    stream(part.size);
    stream(part.is_kept);
    stream(part.is_text);
}

/// The members that parsing sets.
template <typename Stream, typename Record>
void pass_record(Stream &stream, Record &record)
{
    for (auto *text : {&record.sha256, &record.message_id, &record.in_reply_to, &record.thread_id, &record.date_text,
                       &record.subject, &record.text, &record.html, &record.headers, &record.search_text})
        stream(*text);
    stream(record.date);
    for (auto *list : {&record.problems, &record.labels, &record.references})
        stream(*list);
    stream.list(record.addresses, [&stream](auto &each) { pass_address(stream, each); });
    stream.list(record.parts, [&stream](auto &each) { pass_part(stream, each); });
    stream.list(record.foreseen_rows, [&stream](auto &each) { pass_row(stream, each); });
}

struct writer
{
    QDataStream &stream;

    template <typename Value>
    void operator()(const Value &value)
    {
        stream << value;
    }
    void operator()(const std::optional<qint64> &value) { stream << value.has_value() << value.value_or(0); }
    template <typename List, typename Pass>
    void list(const List &values, Pass pass)
    {
        stream << qint64(values.size());
        for (const auto &each : values)
            pass(each);
    }
};

struct reader
{
    QDataStream &stream;

    template <typename Value>
    void operator()(Value &value)
    {
        stream >> value;
    }
    void operator()(std::optional<qint64> &value)
    {
        bool present = false;
        qint64 number = 0;
        stream >> present >> number;
        value = present ? std::optional(number) : std::nullopt;
    }
    template <typename List, typename Pass>
    void list(List &values, Pass pass)
    {
        qint64 count = 0;
        stream >> count;
        for (qint64 i = 0; i < count && stream.status() == QDataStream::Ok; ++i)
            pass(values.emplace_back());
    }
};

} // namespace

QByteArray to_bytes(const mail_record &record)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    writer into = {stream};
    pass_record(into, record);
    return bytes;
}

bool from_bytes(const QByteArray &bytes, mail_record &record)
{
    QDataStream stream(bytes);
    reader from = {stream};
    pass_record(from, record);
    return stream.status() == QDataStream::Ok && stream.atEnd();
}
