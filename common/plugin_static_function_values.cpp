/// Values: sizes, suffixes, escapes, and bare values from descriptions.
#include "common/log_line.h"
#include "common/plugin_static_function.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFileInfo>

namespace {

constexpr qint64 bytes_per_kilobyte = 1024;
constexpr qint64 bytes_per_megabyte = 1024 * 1024;

QString with_two_decimals(qint64 bytes, qint64 unit)
{
    return QString::number(static_cast<double>(bytes) / static_cast<double>(unit), 'f', 2);
}

/// The second piece of a text cut at every `separator`; empty when there is none.
QString second_piece(const QString &text, QLatin1StringView separator)
{
    return text.split(separator).value(1);
}

/// The text after the type tag and "=", without the closing brace.
QString braced_value(const QString &description)
{
    QString value = second_piece(second_piece(description, QLatin1StringView("]>{")), QLatin1StringView("="));
    value.chop(1);
    return value;
}

} // namespace

QString plugin_static_function::human_readable_size(QString bytes)
{
    const QString text = bytes.trimmed();
    if (text.isEmpty())
        return {};
    const auto count = static_cast<qint64>(text.toULongLong());
    if (count < bytes_per_kilobyte)
        return QString::number(count) + QLatin1StringView(" B");
    if (count < bytes_per_megabyte)
        return with_two_decimals(count, bytes_per_kilobyte) + QLatin1StringView(" KB");
    return with_two_decimals(count, bytes_per_megabyte) + QLatin1StringView(" MB"); // gigabytes, too
}

QString plugin_static_function::mining_suffix(QString path)
{
    QString name = QFileInfo(path.trimmed()).fileName();
    if (name.startsWith(u'.'))
        name.remove(0, 1);
    return name.contains(u'.') ? name.section(u'.', -1) : QString();
}

QString plugin_static_function::mining_size(QString path)
{
    const QFileInfo info(path.trimmed());
    if (path.trimmed().isEmpty() || !info.exists())
        return {};
    qint64 size = info.isDir() ? 0 : info.size();
    if (info.isDir()) {
        QDirIterator entries(info.filePath(), QDir::AllEntries | QDir::Hidden | QDir::System,
                             QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            if (bool_cancel_extraction.is_set())
                return QString::number(info.size());
            entries.next();
            const QFileInfo entry = entries.fileInfo();
            if (!entry.isDir() && !entry.isSymLink())
                size += entry.size();
        }
    }
    return QString::number(size);
}

QString plugin_static_function::convert_string_to_unicode(QString text)
{
    constexpr QLatin1StringView escape("\\U");
    constexpr qsizetype code_size = 4;
    QString decoded = text.trimmed();
    if (decoded.isEmpty())
        return {};
    log_line(" : running");
    QStringList codes;
    for (qsizetype at = 0;; at += escape.size()) {
        if (bool_cancel_extraction.is_set())
            return {};
        at = decoded.indexOf(escape, at);
        if (at < 0)
            break;
        codes.append(decoded.mid(at + escape.size(), code_size));
    }
    log_line(" : infinite loop cross"); // logged for every text that gets this far
    for (const QString &code : std::as_const(codes)) {
        if (bool_cancel_extraction.is_set())
            return {};
        decoded.replace(escape + code, QChar(code.toUShort(nullptr, 16)));
    }
    return decoded;
}

QString plugin_static_function::get_filtered_number_value(QString description)
{
    return second_piece(description.section(u',', 0, 0), QLatin1StringView("+")).trimmed();
}

QString plugin_static_function::get_filtered_boolean_value(QString description)
{
    return braced_value(description.trimmed()).trimmed();
}

QString plugin_static_function::get_filtered_cfstring_value(QString description)
{
    return braced_value(description.trimmed()).remove(u'"').trimmed();
}

QString plugin_static_function::get_filtered_string_value(QString description)
{
    QStringList items;
    for (QString &item : description.trimmed().split(u',')) {
        if (bool_cancel_extraction.is_set())
            return {};
        items.append(item.remove(u'(').remove(u')').remove(u'"').trimmed());
    }
    return items.join(u';');
}

QString plugin_static_function::get_filtered_wherefrom_value(QString description)
{
    const std::pair<const char *, const char *> replacements[] = {
        {"\n", ""},  {"  ", ""}, {"(\"", ""}, {"\")", ""}, {"\",", ";"},
        {",", "\n"}, {"<", "("}, {">", ")"},  {"\"", ""},  {"\\U2019s", "'s"},
    };
    QString origins = description.trimmed();
    for (const auto &[sought, replacement] : replacements)
        origins.replace(QLatin1StringView(sought), QLatin1StringView(replacement));
    return QString::fromLocal8Bit(origins.toLocal8Bit()).trimmed();
}

QString plugin_static_function::get_filtered_date_value(QString description)
{
    constexpr qsizetype max_refused = 8; // digits
    QDateTime time = get_datetime_from_string_with_iso_date(description);
    time.setTimeSpec(Qt::UTC);
    const QString seconds = QString::number(time.isValid() ? time.toSecsSinceEpoch() : 0);
    return seconds.size() > max_refused ? QString::number(seconds.toULongLong()) : QString();
}
