/// One mail as `gmail_host read` reads it: nothing may crash, every byte of a part is of the mail or decoded from it,
/// and no path occurs twice.
#include "fuzz/fuzz.h"
#include "host/reading/limits.h"
#include "host/reading/mail_reader.h"
#include "host/reading/mail_splitter.h"
#include "host/reading/record_stream.h"

#include <QBuffer>
#include <QSet>

namespace {

void check_splitter(QByteArray bytes)
{
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);
    mail_splitter splitter(device);
    qint64 end = -1, ordinal = 0;
    for (mail_place place; splitter.next(place);) {
        expect(end < 0 || place.offset == end, "mails follow one another");
        expect(place.ordinal == ++ordinal && place.length > 5, "a mail has a line of its own");
        end = place.offset + place.length;
    }
    expect(end < 0 || end == bytes.size(), "the last mail goes to the end");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_input input(data, size);
    const bool is_followed = input.setting(2) == 1;
    const QByteArrayView bytes = input.rest();
    qint64 written = 0;
    const mail_record record = read_mail(bytes, is_followed, [&written](QByteArrayView content, mail_part &part) {
        written += content.size();
        part.spool_file = "x";
    });
    QSet<QByteArray> paths;
    for (const mail_part &part : record.parts) {
        expect(!paths.contains(part.path), "a path occurs once");
        paths.insert(part.path);
        expect(part.is_text == part.spool_file.isEmpty(), "a part that is not a text is written");
    }
    expect(record.parts.size() <= max_parts, "parts are bounded");
    mail_record copy;
    expect(from_bytes(to_bytes(record), copy), "a record survives the transfer between processes");
    expect_same(to_bytes(copy), to_bytes(record), "record");
    check_splitter(bytes.toByteArray());
    return 0;
}
