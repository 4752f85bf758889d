#include "host/sources/parts.h"

#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QSet>

namespace {

maybe_refusal check_numbers(const QMap<int, QString> &parts, bool accept_missing)
{
    if (accept_missing)
        return {};
    for (int number = 1; number <= parts.lastKey(); ++number) {
        if (!parts.contains(number))
            return refusal{exit_status::bad_source,
                           QStringLiteral("%1: part %2 of the export is missing; give it, or --accept-missing-parts")
                               .arg(parts.last())
                               .arg(number)};
    }
    return {};
}

} // namespace

maybe_refusal group_parts(const QStringList &sources, bool accept_missing, QList<QStringList> &groups)
{
    static const QRegularExpression part(QStringLiteral("^(takeout-.*-)(\\d{3,})(\\.zip|\\.tgz|\\.tar\\.gz)$"));
    QMap<QString, QMap<int, QString>> exports;
    QSet<QString> seen;
    groups.clear();
    for (const QString &source : sources) {
        const QString file = QFileInfo(source).canonicalFilePath();
        if (!file.isEmpty() && seen.contains(file))
            return refusal{exit_status::bad_source, source + QLatin1StringView(": is given twice")};
        seen.insert(file);
        const auto match = part.match(QFileInfo(source).fileName());
        if (!match.hasMatch()) {
            groups.append({source});
            continue;
        }
        QMap<int, QString> &parts = exports[match.captured(1) + match.captured(3)];
        const int number = match.captured(2).toInt();
        if (parts.contains(number))
            return refusal{exit_status::bad_source,
                           source + QLatin1StringView(": is part of an export that is given twice")};
        parts.insert(number, source);
    }
    for (const QMap<int, QString> &parts : std::as_const(exports)) {
        if (const maybe_refusal incomplete = check_numbers(parts, accept_missing))
            return incomplete;
        groups.append(parts.values());
    }
    return {};
}
