/// The attachments of a message against a plain search for each.
#include "extractors/takeout/mail_attachments.h"

#include "fuzz/fuzz.h"
#include "tests/support/slow_mail.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // As the splitter returns it.
    const QByteArray bytes = QString::fromUtf8(fuzz_input(data, size).rest()).toUtf8();
    const mail_marks message(bytes);
    const mail_attachments::parameter_list list = mail_attachments::parameters(message);
    expect(list.left_out == 0, "a small message is read whole");
    expect(list.entries.size() == message.file_names.size(), "every name is an entry");
    const std::vector<QByteArrayView> bodies = mail_attachments::bodies(message, list.entries);
    for (std::size_t i = 0; i < bodies.size(); ++i) {
        const QByteArrayView entry = list.entries[i].text;
        const QByteArrayView expected = attachment_body_by_plain_search(bytes, entry);
        expect(bodies[i].isNull() == expected.isNull() && bodies[i] == expected, "body of an attachment");
        const QString name = mail_attachments::name_in(entry);
        expect(!name.contains(u'"') && name.size() < entry.size(), "name of an attachment");
    }
    return 0;
}
