/// The cipher of the debug log: an enciphered text comes back unchanged, and no other input does harm.
#include "common/encryptor_string.h"

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_input input(data, size);
    const int compression = input.setting(3);
    const int protection = input.setting(3);
    const int flags = input.setting(8);
    const QByteArray bytes = input.rest().toByteArray();

    encryptor_string cipher;
    cipher.decryptToByteArray(bytes);
    cipher.decryptToString(QString::fromUtf8(bytes));

    cipher.compression_mode = encryptor_string::compression(compression);
    cipher.protection_mode = encryptor_string::protection(protection);
    expect_same(cipher.decryptToByteArray(cipher.encryptToByteArray(bytes)), bytes, "plain text");
    expect_same(cipher.decryptToByteArray(cipher.encryptToString(bytes)), bytes, "plain text by way of Base64");

    // Any body after a header with any claims.
    cipher.compression_mode = encryptor_string::compression_never;
    cipher.protection_mode = encryptor_string::protection_none;
    QByteArray forged = cipher.encryptToByteArray(bytes);
    forged[1] = static_cast<char>(flags);
    cipher.decryptToByteArray(forged);
    return 0;
}
