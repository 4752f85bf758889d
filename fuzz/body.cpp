/// The text of a message by each of its rules; its base64 against Qt's decoder.
#include "extractors/takeout/mail_body.h"

#include "common/base64.h"
#include "fuzz/fuzz.h"
#include "tests/support/slow_mail.h"

namespace {

bool is_inside(QByteArrayView part, QByteArrayView whole)
{
    return part.isNull() || (part.begin() >= whole.begin() && part.end() <= whole.end());
}

/// In one go, and in two pieces.
void decode(QByteArrayView encoded, qsizetype cut)
{
    const QByteArray expected = QByteArray::fromBase64(encoded.toByteArray());
    expect_same(decoded_base64(encoded), expected, "base64");

    QByteArray first(base64_decoder::room_for(cut), '\0');
    QByteArray second(base64_decoder::room_for(encoded.size() - cut), '\0');
    base64_decoder decoder;
    first.truncate(decoder.decode(encoded.first(cut), first.data()));
    second.truncate(decoder.decode(encoded.sliced(cut), second.data()));
    expect_same(QByteArray(first + second), expected, "base64 in two pieces");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_input input(data, size);
    const int cut = input.setting(256);
    const mail_marks message(input.rest());
    decode(message.bytes, qMin<qsizetype>(cut, message.bytes.size()));
    expect(is_inside(mail_body::bytes_before_xml(message), message.bytes), "bytes before XML are in the message");
    if (!message.content_types.empty())
        expect(is_inside(mail_body::first_paragraph(message), message.bytes), "the paragraph is in the message");
    std::vector<QByteArrayView> bodies;
    for (const mail_body::plain_part &part : mail_body::plain_parts(message)) {
        bodies.push_back(part.body);
        expect(part.blank_line < 0 || message.bytes.sliced(part.blank_line).startsWith("\n\r\n"),
               "a blank line is one");
    }
    const QByteArray bytes = QByteArray::fromRawData(message.bytes.data(), message.bytes.size());
    expect(bodies == plain_parts_by_plain_search(bytes), "text/plain parts");
    const QString normalized = mail_body::normalized(QString::fromLocal8Bit(message.bytes));
    expect(normalized.size() <= message.bytes.size(), "nothing is added to a text");
    return 0;
}
