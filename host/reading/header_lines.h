/// Where in a message a mark such as "Subject: " was found.
#pragma once

#include <QByteArray>

struct mark_place
{
    enum place {
        nowhere,
        separator,   ///< in the line that begins the message
        own_field,   ///< at the beginning of the field that the mark names
        other_field, ///< in another field of the header
        body,
    };

    place where = nowhere;
    QByteArray field_name;  ///< of the other field; printable ASCII, cut when very long
    QByteArray first_line;  ///< of the own field, without its line end
    qsizetype lines = 0;    ///< of the own field, folded ones included
    bool continues = false; ///< a folded line of the own field has more than blanks
};

/// `message` begins with its separator line; `mark` is a position in it, or -1, and `mark_text` what was found there.
[[nodiscard]] mark_place place_of_mark(QByteArrayView message, qsizetype mark, QByteArrayView mark_text);

/// Where the body of the message begins: after the first empty line, or its end.
[[nodiscard]] qsizetype begin_of_body(QByteArrayView message);
