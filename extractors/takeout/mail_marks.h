/// One message, and the positions of the marks that its parsers look for.
#pragma once

#include "common/cancel_flag.h"

#include <QByteArrayView>

#include <vector>

/// The parsers do not read a message's structure: each looks for fixed marks anywhere in it, body included, and the
/// first one wins. All marks are found in one pass, so that no parser searches the whole message again.
///
/// Positions are byte offsets, -1 when there is no such mark. Parsers take a mark at position 0 as not found.
struct mail_marks
{
    /// Once `cancelled` is set, the parsers stop early, with the marks found so far.
    explicit mail_marks(QByteArrayView message_bytes, const cancel_flag *cancelled = nullptr);

    /// If so, marks may be missing.
    [[nodiscard]] bool is_cancelled() const { return flag && flag->is_set(); }

    QByteArrayView bytes;

    qsizetype to = -1; ///< of the line feed before "To: "
    qsizetype from = -1;
    qsizetype subject = -1;
    qsizetype cc = -1;
    qsizetype date = -1;
    qsizetype multipart = -1;    ///< "Content-Type: multipart"
    qsizetype plain_text = -1;   ///< "Content-Type: text/plain"
    qsizetype base64_lower = -1; ///< "Content-Transfer-Encoding: base64"
    qsizetype base64_upper = -1; ///< "Content-Transfer-Encoding: BASE64"
    /// The same, with a line feed and "Content-Type: text/plain;" ("... TEXT/PLAIN;") directly after.
    qsizetype base64_plain_lower = -1;
    qsizetype base64_plain_upper = -1;
    std::vector<qsizetype> content_types; ///< every "Content-Type: ", in order
    std::vector<qsizetype> file_names;    ///< every "filename=", in order

private:
    const cancel_flag *flag;

    void note_header_mark(qsizetype colon);
    void note_content_type(qsizetype begin, QByteArrayView value);
    void note_transfer_encoding(qsizetype begin, QByteArrayView value);
};

/// Searches one message for the same bytes from one rising position after the other, reading no byte twice.
class rising_search
{
public:
    rising_search(QByteArrayView bytes, QByteArrayView sought)
        : text(bytes)
        , needle(sought)
    {
    }

    /// The first occurrence at or after `position`, or -1. From call to call, positions never fall.
    qsizetype at_or_behind(qsizetype position);

private:
    QByteArrayView text;
    QByteArrayView needle;
    qsizetype hit = -2; // not searched yet
};

/// First occurrence of `sought` in `text` at or after `position`, or -1.
[[nodiscard]] qsizetype find_bytes(QByteArrayView text, QByteArrayView sought, qsizetype position = 0);
