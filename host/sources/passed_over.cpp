#include "host/sources/passed_over.h"

#include "host/source_kinds.h"
#include "host/sources/layout.h"
#include "host/sources/parts.h"

#include <QDir>

namespace {

constexpr qsizetype max_skipped_paths = 100;
constexpr qsizetype max_remarks = 100; // later ones are only counted
constexpr QLatin1StringView newer_store("mail store of a newer version");

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
        remark(source, entry.path + QLatin1StringView(": a link, which is not followed; give its target as a SOURCE"));
    else
        remark(source, entry.path + QLatin1StringView(": not read (") + reason + u')');
}

QString why_passed_over(const QString &path)
{
    if (is_newer_store(path))
        return newer_store;
    if (is_export_part(path))
        return QStringLiteral("export archive inside the source");
    if (!path.endsWith(mbox_suffix, Qt::CaseInsensitive))
        return {};
    if (is_hidden(path))
        return QStringLiteral("hidden mbox file");
    if (!path.endsWith(mbox_suffix))
        return QStringLiteral("mbox file whose name does not end in .mbox in small letters");
    return QStringLiteral("mbox file outside the mail folder");
}

void note_passed_over(ready_source &source, const QString &path, bool in_archive)
{
    const QString reason = why_passed_over(path);
    note_skipped(source, reason, path);
    if (reason == newer_store)
        remark(source, path + QLatin1StringView(": contains a mail store of a newer version of the application, which "
                                                "is not read"));
    else
        remark(source, path + QLatin1StringView(": not read (") + reason +
                           (in_archive ? QLatin1StringView("); unpack it and give it as a SOURCE of its own")
                                       : QLatin1StringView("); give it as a SOURCE of its own")));
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
