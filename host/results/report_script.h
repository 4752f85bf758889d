/// The data files of a report. A page that is opened from the disk may load scripts but read no files, so each file is
/// one call of a function of the page with literal data in it.
#pragma once

#include "host/refusal.h"

#include <QByteArray>
#include <QString>

/// JSON, written from front to back; commas are added automatically. Every text is made valid UTF-8, and escaped so
/// that it cannot end a script, open a comment of HTML or end a line of JavaScript.
class json_text
{
public:
    void begin_list() { open('['); }
    void end_list() { close(']'); }
    void begin_object() { open('{'); }
    void end_object() { close('}'); }

    /// Keys are names of this program, never of the evidence: in a script "__proto__" is not a key like others.
    void key(const char *name);

    void text(QByteArrayView utf8);
    void text(const QString &value) { text(QByteArrayView(value.toUtf8())); }
    /// Null instead of an empty text.
    void text_or_null(QByteArrayView utf8);
    void number(qint64 value);
    void null();

    /// A value that was written with another object of this class.
    void value(const json_text &other);

    [[nodiscard]] const QByteArray &bytes() const { return written; }
    [[nodiscard]] qsizetype size() const { return written.size(); }
    void clear();

private:
    void open(char bracket);
    void close(char bracket);
    void separate();

    QByteArray written;
    bool at_first = true; ///< no comma before the next value
};

/// Write one data file: a call `gmail_report("<name>", <number>, <data>)`. Refused, with the file's name, when it
/// cannot be written.
[[nodiscard]] maybe_refusal write_script(const QString &path, const char *name, qint64 number, const json_text &data);
