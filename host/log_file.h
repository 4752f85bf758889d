/// Reads a debug log: plain lines, enciphered pieces, or both in one file.
#pragma once

#include "common/encryptor_string.h"

#include <QByteArray>
#include <QFile>
#include <QString>

/// A plain line ends in a line feed; an enciphered piece is Base64 and ends in "<[{()}]>" (see docs/debug_log.md). The
/// file is read in blocks; memory is bounded by its longest line.
class log_file
{
public:
    /// Blocks have `bytes_of_block` bytes.
    explicit log_file(const QString &path, qint64 bytes_of_block = usual_block_size);

    /// False, with `error` set, when the file cannot be opened. Reading begins at `offset` bytes.
    [[nodiscard]] bool open(qint64 offset = 0);
    [[nodiscard]] QString error() const { return file.errorString(); }

    struct piece
    {
        QByteArray line;   ///< UTF-8, without its line end; empty when the piece could not be deciphered
        qint64 offset = 0; ///< bytes
        qint64 size = 0;   ///< bytes, without the end mark
        bool readable = true;
    };

    /// The next piece; false at the end.
    [[nodiscard]] bool next(piece &found);

    static constexpr qint64 usual_block_size = 1024 * 1024;

private:
    /// Finds the same bytes from ever higher positions of a block that grows at its end, without scanning any byte
    /// twice.
    class growing_search
    {
    public:
        explicit growing_search(QByteArrayView sought)
            : needle(sought)
        {
        }

        /// The first occurrence at or after `position`, or -1.
        qsizetype at_or_behind(QByteArrayView grown, qsizetype position);

        void front_was_removed(qsizetype size);

    private:
        QByteArrayView needle;
        qsizetype hit = -1;
        qsizetype searched = 0; ///< no occurrence other than `hit` begins before it
    };

    struct piece_end
    {
        qsizetype at = -1;
        qsizetype mark_size = 0;
    };
    [[nodiscard]] piece_end end_of_piece_at(qsizetype begin);
    [[nodiscard]] bool more();

    QFile file;
    qint64 block_size;
    QByteArray block; ///< bytes of the file ...
    qsizetype at = 0; ///< ... of which those before this one were returned
    qint64 block_offset = 0;
    growing_search line_feeds;
    growing_search end_marks;
    encryptor_string cipher;
};

/// True when the message of the line reports a failure (a path in it does not count).
[[nodiscard]] bool tells_failure(const QByteArray &line);
