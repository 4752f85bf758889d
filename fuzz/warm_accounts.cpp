/// The list of accounts that were warmed up lastly, against Qt's own reader of an element's text.
#include "extractors/android/warm_accounts.h"

#include "fuzz/fuzz.h"
#include "tests/support/slow_accounts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray preferences = fuzz_input(data, size).rest().toByteArray();
    if (const std::optional<QStringList> accounts = lastly_warmed_up_accounts(preferences))
        expect_same(*accounts, warm_accounts_by_qt(preferences), "accounts");
    return 0;
}
