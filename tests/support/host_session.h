/// Runs of the command-line host in a directory of their own.
#pragma once

#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

class host_session
{
public:
    host_session();

    [[nodiscard]] QString directory() const { return place.path(); }
    /// A path in the session's directory.
    [[nodiscard]] QString path(const QString &name) const { return place.filePath(name); }
    /// A file of the result below "r".
    [[nodiscard]] QString result(const QString &name) const { return path(u"r/Artifacts_Result/Gmail/" + name); }
    [[nodiscard]] QJsonObject record() const;
    /// Rows of the result as texts, values joined by "|".
    [[nodiscard]] QStringList rows(const QString &query) const;

    /// Run to the end, away from any terminal and without the right to read everything that root has. The exit status;
    /// -1 when there is none.
    int run(const QStringList &arguments, const QString &password = {});
    /// `extract` the source called `source` in the directory into "r".
    int extract(const QString &source, const QStringList &more = {});

    /// Started with a terminal as its own, whose other end is `terminal`.
    std::unique_ptr<QProcess> start_on_terminal(const QStringList &arguments, int &terminal) const;

    QString output; ///< of the last run
    QString errors;

private:
    QTemporaryDir place;
};
