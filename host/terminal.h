/// Output for the user: lines on standard output and standard error, safe to show on a terminal, and checked.
#pragma once

#include "host/refusal.h"

#include <QByteArrayView>
#include <QJsonObject>
#include <QString>

/// `text` with every character that a terminal could obey made visible: "\x1B" for an escape, "\x0A" for a line feed,
/// "\u202E" for a mark that changes the direction of writing. For names and texts from evidence; one line stays one
/// line.
[[nodiscard]] QString escaped(const QString &text);

/// The same for text that is already UTF-8; bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] QByteArray escaped_utf8(QByteArrayView utf8);

/// One line on standard output, escaped.
void print(const QString &line);

/// JSON on standard output, and a line feed. Characters that a terminal could obey are written as "\u....", which a
/// JSON reader decodes to the same text.
void print_json(const QJsonObject &object);
void print_json(const QJsonArray &array);

/// Bytes on standard output as they are. Where they could reach a terminal, the caller has escaped them.
void print_bytes(QByteArrayView bytes);

/// True once standard output no longer accepts anything: its reader is gone, or its disk is full. Anything printed
/// after that is dropped; a command that only prints may stop.
[[nodiscard]] bool output_is_closed();

/// One line on standard error, escaped, in the program's name.
void complain(const QString &line);

/// Say why something is refused; returns the status to end with. With `as_json` standard output gets an object with
/// "state" ("refused" or "cancelled"), "exit_status" and "message", too.
[[nodiscard]] exit_status refuse(const refusal &why, bool as_json = false);

/// Call it last: writes out what is still buffered. If standard output did not take everything, says so and turns
/// `done` into `output_lost`. A reader that closed its end of a pipe has seen enough: that is not a loss.
[[nodiscard]] exit_status finish_output(exit_status status);

/// Columns of the terminal at this descriptor; 80 when that is not known.
[[nodiscard]] int terminal_width(int descriptor);
