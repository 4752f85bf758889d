#include "host/sources/passed_over.h"

#include "host/source_kinds.h"
#include "host/sources/layout.h"
#include "host/sources/parts.h"

#include <QDir>

namespace {

constexpr qsizetype max_skipped_paths = 100;
constexpr qsizetype max_remarks = 100; // the counts go on

void remark(ready_source &source, const QString &text)
{
    if (source.remarks.size() < max_remarks)
        source.remarks.append(text);
}

bool is_hidden(const QString &path)
{
    return path.startsWith(u'.') || path.contains(u"/.");
}

/// A mail store of a newer version; its companions go with it.
bool is_newer_store(const QString &path)
{
    const std::optional<android_location> found = locate_android(path);
    const read_place *place = found ? place_of(found->place) : nullptr;
    return place && place->how == read_place::use::newer_store && without_companion_suffix(path).size() == path.size();
}

} // namespace

QString why_dropped(const member &entry)
{
    if (entry.type == member::kind::link)
        return QStringLiteral("link");
    if (entry.type == member::kind::special)
        return QStringLiteral("device or pipe");
    if (entry.path.isEmpty())
        return QStringLiteral("unreadable name");
    if (entry.path.startsWith(u'/'))
        return QStringLiteral("absolute path");
    if (entry.path.split(u'/').contains(QStringLiteral("..")))
        return QStringLiteral("path with ..");
    return {};
}

QString plain_path(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    return clean == u"." ? QString() : clean;
}

void note_skipped(ready_source &source, const QString &reason, const QString &path)
{
    ++source.skipped[reason];
    if (source.skipped_paths.size() < max_skipped_paths)
        source.skipped_paths.append(reason + QLatin1StringView(": ") + path);
}

void note_dropped(ready_source &source, const QString &reason, const member &entry)
{
    note_skipped(source, reason, entry.path);
    if (!may_be_mail(entry.path))
        return;
    if (entry.type == member::kind::link)
        remark(source, entry.path + QLatin1StringView(": a link, which is not followed; give what it leads to"));
    else
        remark(source, entry.path + QLatin1StringView(": not read (") + reason + u')');
}

bool note_passed_over(ready_source &source, const QString &path, bool in_archive)
{
    const QString hint = in_archive ? QStringLiteral("; unpack it and give it as a SOURCE of its own")
                                    : QStringLiteral("; give it as a SOURCE of its own");
    if (is_newer_store(path)) {
        note_skipped(source, QStringLiteral("mail store of a newer version"), path);
        remark(source, path + QLatin1StringView(": holds a mail store of a newer version of the application, which is "
                                                "not read"));
        return true;
    }
    QString reason;
    if (is_export_part(path))
        reason = QStringLiteral("export archive inside the source");
    else if (!path.endsWith(mbox_suffix, Qt::CaseInsensitive))
        return false;
    else if (is_hidden(path))
        reason = QStringLiteral("hidden mbox file");
    else if (!path.endsWith(mbox_suffix))
        reason = QStringLiteral("mbox file whose name does not end in .mbox in small letters");
    else
        reason = QStringLiteral("mbox file outside the mail folder");
    note_skipped(source, reason, path);
    remark(source, path + QLatin1StringView(": not read (") + reason + u')' + hint);
    return true;
}

bool may_be_mail(const QString &path)
{
    const QString name = path.section(u'/', -1);
    for (const QLatin1StringView folder :
         {QLatin1StringView("Mail"), QLatin1StringView("Takeout"), QLatin1StringView("com.google.android.gm")}) {
        if (name == folder)
            return true;
    }
    return name.endsWith(mbox_suffix, Qt::CaseInsensitive) || is_export_part(name) || path.startsWith(mail_root) ||
           path.contains(u'/' + mail_root) || may_be_placed(path);
}
