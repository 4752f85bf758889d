/// Kinds of attachments as an examiner sorts them.
#pragma once

#include <QByteArray>

/// The page's `kinds.ts` has their names in this order.
enum class attachment_kind {
    picture,
    video,
    sound,
    pdf,
    document,
    sheet,
    slides,
    archive,
    mail,
    calendar,
    contact,
    web,
    text,
    program,
    signature,
    other
};

/// By the media type if it is specific, else by the extension of the name; the extension of a program always counts.
[[nodiscard]] attachment_kind kind_of_attachment(const QByteArray &media_type, const QByteArray &name);
