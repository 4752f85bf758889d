/// Values as CSV and as JSON.
#pragma once

#include "host/results/export_file.h"
#include "host/results/result_tables.h"
#include "host/sqlite.h"

/// A CSV file: UTF-8 with a byte order mark, lines end in CR LF. Texts that a spreadsheet would take for a formula get
/// an apostrophe before them; characters that no CSV reader accepts (NUL, bytes that are not UTF-8) become U+FFFD.
class csv_file
{
public:
    csv_file(const QString &path, const QList<result_column> &columns);

    void add(const cell &value, const result_column &column);
    void add(QByteArrayView text);
    void add(qint64 number);
    void end_row();

    [[nodiscard]] bool has_failed() const { return file.has_failed(); }
    [[nodiscard]] maybe_refusal close() { return file.close(); }

    /// Cells with an apostrophe, and with replaced characters.
    [[nodiscard]] qint64 disarmed() const { return with_apostrophe; }
    [[nodiscard]] qint64 replaced() const { return with_replacements; }

private:
    void separate();
    void add_text(QByteArrayView text);
    void add_quoted(QByteArrayView text, bool needs_apostrophe);

    export_file file;
    bool at_begin_of_row = true;
    qint64 with_apostrophe = 0;
    qint64 with_replacements = 0;
};

/// A string of JSON, its quotes included. Bytes that are not UTF-8 become U+FFFD.
void write_json_string(export_file &file, QByteArrayView text);

/// A value of JSON: numbers as numbers, times as ISO 8601, NULL as null, bytes that are not text in hexadecimal.
void write_json_value(export_file &file, const cell &value, const result_column &column);
