/// Shared by many tests: evidence trees, runs of the plug-in, rows and log lines as comparable texts.
#pragma once

#include "plugin/gmail.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

/// Write a file, its directories included.
void write_file(const QString &path, const QByteArray &bytes);
[[nodiscard]] QByteArray read_file(const QString &path);

/// File names of a directory, sorted.
[[nodiscard]] QStringList files_in(const QString &directory);

/// Every row of a query as its values joined by "|"; NULL is written as such.
[[nodiscard]] QStringList rows_of(const QString &database, const QString &query);

/// Run statements on a database file, which is created when missing. False when one of them fails.
bool run_sql(const QString &database, const QStringList &statements);

/// Overwrite the first page of a database (of 1024 bytes) that contains `text` with nonsense.
void damage_page_with(const QString &database, const QByteArray &text);

/// While it exists, the debug log is on and goes to a file.
class log_capture
{
public:
    log_capture();
    ~log_capture();
    Q_DISABLE_COPY_MOVE(log_capture)

    /// The lines so far, each as "function: message".
    [[nodiscard]] QStringList lines() const;
    [[nodiscard]] QStringList lines_with(const QString &text) const;
    [[nodiscard]] QString path() const { return directory.filePath(QStringLiteral("debug.log")); }

private:
    QTemporaryDir directory;
};

/// A plug-in object with its own source directory and result directory.
class plugin_session
{
public:
    explicit plugin_session(const QString &scheme);

    /// Path of a file of the source.
    [[nodiscard]] QString source(const QString &relative = {}) const
    {
        return directory.filePath(QStringLiteral("source/") + relative);
    }
    [[nodiscard]] QString result(const QString &relative = {}) const;
    [[nodiscard]] QString database() const { return result(QStringLiteral("Gmail.sqlite")); }

    /// Set-up up to the tables; then the run itself.
    void prepare(const QStringList &tables);
    void extract();

    gmail plugin{nullptr};
    struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info source_info;

private:
    QTemporaryDir directory;
};
