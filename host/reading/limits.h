/// How much of a mail is read. Anything beyond keeps its row with place, hash and a note in `problems`.
#pragma once

#include <QtGlobal>

inline constexpr int max_levels = 100;                                     ///< of parts within parts
inline constexpr int max_embedded_levels = 10;                             ///< of mails within mails
inline constexpr qsizetype max_parts = 10'000;                             ///< of one mail
inline constexpr qsizetype max_header_lines = 100'000;                     ///< of one mail, those of its parts included
inline constexpr qsizetype max_header_bytes = qsizetype(16) * 1024 * 1024; ///< of one header
inline constexpr qsizetype max_field_bytes = qsizetype(1) * 1024 * 1024;   ///< of a field with addresses or parameters
inline constexpr qsizetype max_parameters = 1'000;                         ///< of a field
inline constexpr qsizetype max_references = 10'000;
inline constexpr qsizetype max_labels = 10'000;
inline constexpr qint64 max_mail_bytes = qint64(1) * 1024 * 1024 * 1024;
inline constexpr qsizetype max_text_bytes = qsizetype(256) * 1024 * 1024; ///< larger texts are files in "Parts/"

inline constexpr qint64 memory_per_mail = qint64(32) * 1024 * 1024; ///< bytes a reading process may take for any mail
inline constexpr qint64 memory_per_mail_byte = 8;                   ///< and for each of its bytes
inline constexpr qint64 milliseconds_per_mail = 20'000;             ///< a reading process may take for any mail
inline constexpr qint64 mail_bytes_per_millisecond = 1'024;         ///< bytes that add a millisecond
