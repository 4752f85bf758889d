/// The accounts in `lastly_warmed_up_accounts`, against Qt's own reader of an element's text.
#include "common/warm_accounts.h"

#include "fuzz/fuzz.h"
#include "tests/support/slow_accounts.h"

#include <QBuffer>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QByteArray preferences = fuzz_input(data, size).rest().toByteArray();
    QBuffer file(&preferences);
    file.open(QIODevice::ReadOnly);
    if (const std::optional<QStringList> accounts = warm_accounts::read_from(file))
        expect_same(*accounts, warm_accounts_by_qt(preferences), "accounts");
    return 0;
}
