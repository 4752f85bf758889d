#include "host/evidence.h"

#include "host/source_kinds.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>

namespace {

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

/// The root of a kind of source below `directory`, which ends in "/"; empty when its mark is missing.
QString root_of(const source_kind &kind, const QString &directory)
{
    if (kind.mark.isEmpty())
        return {};
    QStringList candidates = {directory};
    if (kind.mark == mail_root)
        candidates.append(directory + QLatin1StringView("Takeout/"));
    for (const QString &candidate : std::as_const(candidates)) {
        if (QFileInfo(candidate + kind.mark).isDir())
            return candidate;
    }
    return {};
}

} // namespace

QStringList os_schemes()
{
    QStringList schemes;
    for (const source_kind &kind : source_kinds())
        schemes.append(kind.scheme);
    return schemes;
}

QString looked_for(const QString &scheme)
{
    const source_kind *kind = kind_of_scheme(scheme);
    return kind ? QString(kind->mark) : QString();
}

maybe_refusal check_all_given(const QStringList &sources)
{
    for (const QString &source : sources) {
        if (maybe_refusal missing = check_given(source))
            return missing;
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
    for (const source_kind &kind : source_kinds()) {
        if (!scheme.isEmpty() && kind.scheme != scheme)
            continue;
        const QString root = root_of(kind, directory);
        if (root.isEmpty() && scheme.isEmpty())
            continue;
        found = {kind.scheme, root.isEmpty() ? directory : root, !root.isEmpty()};
        return {};
    }
    return not_recognised(source);
}

refusal not_recognised(const QString &source)
{
    return {exit_status::bad_source,
            source + QLatin1StringView(": not recognised as a source: contains neither an mbox file nor "
                                       "apps/com.google.android.gm/ nor data/data/com.google.android.gm/ (use --scheme "
                                       "to read a directory anyway)")};
}

bool lies_inside(const QString &path, const QString &directory)
{
    return with_slash(resolved(path)).startsWith(with_slash(resolved(directory)));
}

QString with_slash(const QString &directory)
{
    return directory.endsWith(u'/') ? directory : directory + u'/';
}
