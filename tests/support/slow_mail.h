/// The parsers of a message again, slow and plain: each mark by a search of its own from the start of the message.
#pragma once

#include "extractors/takeout/mail_attachments.h"
#include "extractors/takeout/mail_marks.h"

#include <QDateTime>
#include <QStringList>

/// The first mark that `mail` and a plain search find in different places; null when there is none.
[[nodiscard]] inline const char *mark_found_elsewhere(const QByteArray &bytes)
{
    const mail_marks found(bytes);
    const std::pair<qsizetype, const char *> marks[] = {
        {found.to, "\nTo: "},
        {found.from, "From: "},
        {found.subject, "Subject: "},
        {found.cc, "Cc: "},
        {found.date, "Date: "},
        {found.multipart, "Content-Type: multipart"},
        {found.plain_text, "Content-Type: text/plain"},
        {found.base64_lower, "Content-Transfer-Encoding: base64"},
        {found.base64_upper, "Content-Transfer-Encoding: BASE64"},
        {found.base64_plain_lower, "Content-Transfer-Encoding: base64\nContent-Type: text/plain;"},
        {found.base64_plain_upper, "Content-Transfer-Encoding: BASE64\nContent-Type: TEXT/PLAIN;"},
    };
    for (const auto &[position, mark] : marks) {
        if (position != bytes.indexOf(mark))
            return mark;
    }
    for (const auto &[positions, mark] :
         {std::pair(found.content_types, "Content-Type: "), {found.file_names, "filename="}}) {
        qsizetype from = 0;
        for (const qsizetype position : positions) {
            if (position != bytes.indexOf(mark, from))
                return mark;
            from = position + 1;
        }
        if (bytes.indexOf(mark, from) >= 0)
            return mark;
    }
    return nullptr;
}

/// The body of an attachment whose entry has this text; null when there is none.
[[nodiscard]] inline QByteArrayView attachment_body_by_plain_search(const QByteArray &bytes, QByteArrayView entry)
{
    const qsizetype begin = bytes.indexOf(entry);
    const qsizetype blank_line = begin < 1 ? -1 : bytes.indexOf("\r\n\r\n", begin);
    const qsizetype end = blank_line < 0 ? -1 : bytes.indexOf("==", blank_line);
    return end < 0 ? QByteArrayView() : QByteArrayView(bytes).sliced(blank_line, end - blank_line);
}

/// The bodies of the text/plain parts of a multipart message, each search from where the last header ended; null where
/// a part has no end.
[[nodiscard]] inline std::vector<QByteArrayView> plain_parts_by_plain_search(const QByteArray &bytes)
{
    std::vector<QByteArrayView> bodies;
    qsizetype at = 0;
    while (true) {
        const qsizetype begin = bytes.indexOf("Content-Type: ", at);
        at = begin < 1 ? -1 : bytes.indexOf(';', begin);
        if (at < 0)
            return bodies;
        const QString type = QString::fromLocal8Bit(bytes.mid(begin, at - begin)).trimmed();
        if (type != QLatin1StringView("Content-Type: text/plain") &&
            type != QLatin1StringView("Content-Type: TEXT/PLAIN"))
            continue;
        const qsizetype blank_line = bytes.indexOf("\n\r\n", at);
        const qsizetype end = blank_line < 0 ? -1 : bytes.indexOf("\n\r\n------=", blank_line + 3);
        bodies.push_back(end < 0 ? QByteArrayView()
                                 : QByteArrayView(bytes).sliced(blank_line + 3, end - blank_line - 3));
    }
}

/// Qt's reading of a wall-clock time.
[[nodiscard]] inline QDateTime wall_clock_by_qt(const QString &text)
{
    return QDateTime::fromString(text.trimmed() + QLatin1StringView(" UTC"),
                                 QStringLiteral("ddd, d MMM yyyy hh:mm:ss t"));
}

/// Every second piece of a text cut at the given letters, empty pieces left out.
[[nodiscard]] inline QStringList every_second_piece(const QString &text, QStringView letters)
{
    QStringList pieces{text};
    for (const QChar letter : letters) {
        QStringList smaller;
        for (const QString &piece : pieces)
            smaller += piece.split(letter, Qt::SkipEmptyParts);
        pieces = smaller;
    }
    QStringList wanted;
    for (qsizetype i = 0; i < pieces.size(); i += 2)
        wanted.append(pieces.at(i));
    return wanted;
}
