/// Cuts an mbox file into messages.
///
/// A message begins at a line that starts with "From " (case-sensitive, first column) and ends before the next such
/// line, even one inside a body. Anything before the first such line is ignored. Only a further separator completes a
/// message, so the last message of a file is never handed out.
#pragma once

#include <QByteArray>

class QIODevice;

/// Uses no log, no database and no cancel flag: the caller asks for one piece at a time.
class mbox_splitter
{
public:
    enum class progress {
        reading,          ///< some bytes were taken in; call again
        message_complete, ///< `message` is complete; drop it, or the next one is appended to it
        too_large,        ///< `message` is larger than `max_message`; give it up
        file_ended,       ///< nothing more will come
        read_failed,      ///< as `file_ended`, because the device failed
    };

    /// `mail_file` is open for reading, unbuffered, and outlives the splitter. A block has `bytes_of_block` bytes, at
    /// least 64.
    explicit mbox_splitter(QIODevice &mail_file, qsizetype bytes_of_block = usual_block_size);

    /// Take in at most one block of the file (more of a longer line only if it has no two adjacent ASCII bytes to cut
    /// at).
    progress read();

    /// The message so far, beginning with its separator line, line ends as in the file. Each line has been converted to
    /// text and back: it is valid UTF-8 and does not begin with a byte order mark.
    [[nodiscard]] const QByteArray &message() const { return message_buffer; }

    /// Begin the next message at the separator that was found last.
    void drop_message();

    /// Throw away the message so far and everything up to the next separator.
    void give_up_message();

    static constexpr qsizetype usual_block_size = 256 * 1024; // bytes
    /// No real mail is this large; parsing one takes several times as much memory.
    static constexpr qsizetype max_message = qsizetype(2) * 1024 * 1024 * 1024;

private:
    bool fill();
    [[nodiscard]] qsizetype end_of_piece() const;
    void append(QByteArrayView lines);

    QIODevice &file;
    qsizetype block_size;
    QByteArray block;           // raw bytes of the file ...
    qsizetype at = 0;           // ... those before are taken in
    qsizetype end_of_lines = 0; // ... whole lines end here, or a piece of a long one
    qsizetype filled = 0;       // ... those after it are not read yet
    bool device_ended = false;
    bool device_failed = false;
    bool inside_message = false;
    bool inside_line = false;  // a long line continues at `at`
    bool at_separator = false; // the line at `at` is a separator
    QByteArray message_buffer;
};
