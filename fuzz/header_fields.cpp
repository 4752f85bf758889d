/// Recipient lines with their continuations, and the names in them and in a sender's line.
#include "extractors/takeout/mail_headers.h"

#include "fuzz/fuzz.h"
#include "tests/support/slow_mail.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_input input(data, size);
    const int begin = input.setting(256) - 1;
    const QByteArrayView message = input.rest();

    mail_headers::line line = mail_headers::line_at(message, begin);
    const auto next_line = [&line, message](QString &text) {
        line = mail_headers::line_at(message, line.end + 1);
        text += line.text;
        return line.end >= 0;
    };
    const QString recipients =
        mail_headers::without_name(mail_headers::unfolded(line.text, next_line), QLatin1StringView("To: "));
    const QString names = every_second_piece(recipients, u",<").join(u',');
    expect_same(mail_headers::recipient_names(recipients), names.trimmed(), "recipients");

    QString sender;
    for (const QString &piece : every_second_piece(recipients, u"<"))
        sender += piece.trimmed();
    expect_same(mail_headers::sender_name(recipients), sender, "sender");
    return 0;
}
