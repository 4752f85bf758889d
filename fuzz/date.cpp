/// The date of a message against Qt's reading of it.
#include "extractors/takeout/mail_headers.h"

#include "fuzz/fuzz.h"
#include "tests/support/slow_mail.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text = QString::fromUtf8(fuzz_input(data, size).rest());
    const QChar sign = text.contains(u'+') ? u'+' : u'-';
    const QString offset = text.section(sign, 1, 1).trimmed();
    const qint64 seconds = offset.left(2).toInt() * 3600 + offset.mid(2, 2).toInt() * 60;
    const QDateTime wall_clock = wall_clock_by_qt(text.section(sign, 0, 0));
    const qint64 expected =
        wall_clock.isValid() ? wall_clock.toSecsSinceEpoch() + (sign == u'+' ? -seconds : seconds) : 0;
    expect_same(mail_headers::epoch_of_date(text), expected, "seconds");
    return 0;
}
