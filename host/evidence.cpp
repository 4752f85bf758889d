#include "host/evidence.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>

namespace {

struct scheme_mark
{
    QLatin1StringView scheme;
    QLatin1StringView folder; // tells a source of this kind
};

constexpr scheme_mark scheme_marks[] = {
    {QLatin1StringView("macOS"), QLatin1StringView()},
    {QLatin1StringView("iOS_UID"), QLatin1StringView()},
    {QLatin1StringView("winOS"), QLatin1StringView()},
    {QLatin1StringView("gTakeoutOS"), QLatin1StringView("Mail")},
    {QLatin1StringView("androidOS"), QLatin1StringView("apps/com.google.android.gm")},
};

/// `path` with its links resolved as far as it exists.
QString resolved(const QString &path)
{
    QString existing = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    QString rest;
    while (!QFileInfo::exists(existing) && existing != QDir::rootPath()) {
        rest.prepend(u'/' + QFileInfo(existing).fileName());
        existing = QFileInfo(existing).path();
    }
    return QDir::cleanPath(QFileInfo(existing).canonicalFilePath() + rest);
}

QString with_slash(const QString &directory)
{
    return directory.endsWith(u'/') ? directory : directory + u'/';
}

/// The root that a scheme reads below `directory`; empty when its mark is not there.
QString root_of(const scheme_mark &mark, const QString &directory)
{
    QStringList candidates = {with_slash(directory)};
    if (mark.scheme == QLatin1StringView("gTakeoutOS"))
        candidates.append(candidates.first() + QLatin1StringView("Takeout/"));
    for (const QString &candidate : std::as_const(candidates)) {
        if (QFileInfo(candidate + mark.folder).isDir())
            return candidate;
    }
    return {};
}

} // namespace

QStringList os_schemes()
{
    QStringList schemes;
    for (const scheme_mark &mark : scheme_marks)
        schemes.append(mark.scheme);
    return schemes;
}

QString looked_for(const QString &scheme)
{
    for (const scheme_mark &mark : scheme_marks) {
        if (mark.scheme == scheme && !mark.folder.isEmpty())
            return mark.folder + u'/';
    }
    return {};
}

maybe_refusal check_given(const QString &source)
{
    const QFileInfo info(source);
    if (!info.exists())
        return refusal{exit_status::bad_source, source + QLatin1StringView(": does not exist; name a directory, an "
                                                                           "archive or an mbox file")};
    if (!info.isReadable() || (info.isDir() && !info.isExecutable()))
        return refusal{exit_status::bad_source, source + QLatin1StringView(": is not readable; check its permissions")};
    if (!info.isDir() && !info.isFile())
        return refusal{exit_status::bad_source, source + QLatin1StringView(": is neither a directory nor a file")};
    return {};
}

maybe_refusal recognise(const QString &source, const QString &scheme, evidence &found)
{
    const QString directory = with_slash(QDir::cleanPath(QFileInfo(source).absoluteFilePath()));
    for (const scheme_mark &mark : scheme_marks) {
        if (!scheme.isEmpty() && mark.scheme != scheme)
            continue;
        const QString root = mark.folder.isEmpty() ? QString() : root_of(mark, directory);
        if (root.isEmpty() && scheme.isEmpty())
            continue;
        found = {mark.scheme, root.isEmpty() ? directory : root, !root.isEmpty()};
        return {};
    }
    return refusal{exit_status::bad_source,
                   source + QLatin1StringView(": no known kind of source; neither Mail/ nor Takeout/Mail/ nor "
                                              "apps/com.google.android.gm/ is in it (--scheme reads it all the same)")};
}

bool lies_inside(const QString &path, const QString &directory)
{
    return with_slash(resolved(path)).startsWith(with_slash(resolved(directory)));
}
