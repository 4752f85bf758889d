/// A mail record as bytes, between the processes that parse and the one that writes the database.
#pragma once

#include "host/reading/mail_record.h"

[[nodiscard]] QByteArray to_bytes(const mail_record &record);

/// False when the bytes are not a record.
[[nodiscard]] bool from_bytes(const QByteArray &bytes, mail_record &record);
