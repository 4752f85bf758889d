#include "host/sources/parts.h"

#include "host/pass/digest.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace {

QRegularExpressionMatch match_part(const QString &path)
{
    static const QRegularExpression part(
        QStringLiteral("^(takeout-.*-)(\\d{3,})(?: ?\\(\\d+\\))?(\\.zip|\\.tgz|\\.tar\\.gz)$"));
    return part.match(path.section(u'/', -1));
}

/// The parts of one export, by their numbers.
struct export_parts
{
    QMap<int, QString> paths;
    QStringList remarks = {};
};

/// The archives in a directory that contains nothing else; empty for any other path.
QStringList archives_in(const QString &directory)
{
    QStringList paths;
    const QDir::Filters everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    for (const QFileInfo &entry : QDir(directory).entryInfoList(everything, QDir::Name)) {
        if (!entry.isFile() || !is_export_part(entry.fileName()))
            return {};
        paths.append(entry.filePath());
    }
    return paths;
}

maybe_refusal check_numbers(export_parts &parts, bool accept_missing)
{
    QStringList missing;
    for (int number = 1; number < parts.paths.lastKey(); ++number) {
        if (!parts.paths.contains(number))
            missing.append(QString::number(number));
    }
    if (missing.isEmpty())
        return {};
    const QString text = (missing.size() == 1 ? QStringLiteral("%1: part %2 of the export is missing")
                                              : QStringLiteral("%1: parts %2 of the export are missing"))
                             .arg(parts.paths.last(), missing.join(QLatin1StringView(", ")));
    if (!accept_missing)
        return refusal{exit_status::bad_source, text + QLatin1StringView("; add it or pass --accept-missing-parts")};
    parts.remarks.append(text);
    return {};
}

/// Two files for one part are the same download, or two exports that must not be mixed.
maybe_refusal add_second(const QString &path, const QString &first, const still_wanted &go_on, QStringList &remarks)
{
    const auto hash_of = [&](const QString &file) { return sha256_of_file(file, [&](qint64) { return go_on(); }); };
    const bool may_be_same = QFileInfo(path).size() == QFileInfo(first).size();
    const QString hash = may_be_same ? hash_of(path) : QString();
    if (!hash.isEmpty() && hash == hash_of(first)) {
        remarks.append(path + QLatin1StringView(": the same file as ") + first + QLatin1StringView("; read once"));
        return {};
    }
    if (!go_on())
        return refused_as_cancelled;
    return refusal{exit_status::bad_source,
                   path + QLatin1StringView(": belongs to an export that was given twice; it differs from ") + first +
                       QLatin1StringView(", so give one of them")};
}

} // namespace

bool is_export_part(const QString &path)
{
    return match_part(path).hasMatch();
}

maybe_refusal group_parts(const QStringList &sources, bool accept_missing, const still_wanted &go_on,
                          QList<given_group> &groups)
{
    QStringList paths;
    for (const QString &source : sources) {
        const QStringList archives = archives_in(source);
        paths += archives.isEmpty() ? QStringList(source) : archives;
    }
    QMap<QString, export_parts> exports;
    QSet<QString> seen;
    groups.clear();
    for (const QString &path : std::as_const(paths)) {
        const QString file = QFileInfo(path).canonicalFilePath();
        if (!file.isEmpty() && seen.contains(file))
            return refusal{exit_status::bad_source, path + QLatin1StringView(": is given twice")};
        seen.insert(file);
        const auto match = match_part(path);
        if (!match.hasMatch()) {
            groups.append({{path}});
            continue;
        }
        export_parts &parts = exports[match.captured(1) + match.captured(3)];
        const int number = match.captured(2).toInt();
        const QString first = parts.paths.value(number);
        if (first.isEmpty())
            parts.paths.insert(number, path);
        else if (maybe_refusal refused = add_second(path, first, go_on, parts.remarks))
            return refused;
    }
    for (export_parts &parts : exports) {
        if (maybe_refusal incomplete = check_numbers(parts, accept_missing))
            return incomplete;
        groups.append({parts.paths.values(), parts.remarks});
    }
    return {};
}
