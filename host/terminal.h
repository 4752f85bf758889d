/// Output for the user: lines on standard output and standard error, safe to show on a terminal, and checked.
#pragma once

#include "host/refusal.h"

#include <QByteArrayView>
#include <QJsonObject>
#include <QString>

/// `text` with every character that a terminal could obey made visible: "\x1B" for an escape, "\x0A" for a line feed,
/// "\u202E" for a mark that turns the direction of writing. For names and texts from evidence; one line stays one line.
[[nodiscard]] QString escaped(const QString &text);

/// The same for text that is already UTF-8; bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] QByteArray escaped_utf8(QByteArrayView utf8);

/// One line on standard output, escaped.
void print(const QString &line);

/// JSON on standard output, and a line feed. Characters that a terminal could obey are written as "\u....", which a
/// reader of JSON takes for the same text.
void print_json(const QJsonObject &object);
void print_json(const QJsonArray &array);

/// Bytes on standard output as they are. The caller has escaped what a terminal could obey, where there is one.
void print_bytes(QByteArrayView bytes);

/// True once standard output no longer takes anything: its reader is gone, or its disk is full. What is printed from
/// then on is dropped; a command that does nothing but print may stop.
[[nodiscard]] bool output_is_closed();

/// One line on standard error, escaped, in the program's name.
void complain(const QString &line);

/// Say why something is refused; returns the status to end with. With `as_json` standard output gets an object with
/// "state" ("refused" or "cancelled"), "exit_status" and "message", too.
[[nodiscard]] exit_status refuse(const refusal &why, bool as_json = false);

/// The program's last act: writes out what is still buffered. When standard output took less than was printed, says so
/// and turns `done` into `output_lost`. A reader that closed its end of a pipe has what it wanted: that is no loss.
[[nodiscard]] exit_status finish_output(exit_status status);

/// Columns of the terminal at this descriptor; 80 when that is not known.
[[nodiscard]] int terminal_width(int descriptor);
