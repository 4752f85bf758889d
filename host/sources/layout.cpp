#include "host/sources/layout.h"

#include "host/source_kinds.h"

#include <QHash>
#include <QMap>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace {

constexpr auto any_name = QRegularExpression::DotMatchesEverythingOption; // names may contain line feeds

// ---- Android --------------------------------------------------------------------------------------------------------

/// Where a file of the application is in a backup's layout.
QString place_in_backup(const QString &rest)
{
    static const QMap<QString, QString> folders = {{QStringLiteral("databases"), QStringLiteral("db")},
                                                   {QStringLiteral("shared_prefs"), QStringLiteral("sp")},
                                                   {QStringLiteral("files"), QStringLiteral("f")}};
    const QString folder = rest.section(u'/', 0, 0);
    const auto known = folders.constFind(folder);
    return android_root +
           (known == folders.constEnd() ? QString(u"r/" + rest) : QString(*known + rest.sliced(folder.size())));
}

bool is_newer_cookie_store(const QString &place)
{
    return without_companion_suffix(place) == newer_cookie_place;
}

/// A newer web view's cookie store takes the place of the older one if that is absent or empty.
void place_newer_cookies(placed_source &source, std::span<const listed_member> members)
{
    const auto is_older = [](const placed_member &m) { return m.place.startsWith(cookie_place); };
    const bool older_has_rows = std::ranges::any_of(source.members, [&](const placed_member &m) {
        return m.place == cookie_place && !members[static_cast<std::size_t>(m.index)].is_empty;
    });
    if (older_has_rows) {
        source.members.removeIf([](const placed_member &m) { return is_newer_cookie_store(m.place); });
        return;
    }
    if (std::ranges::any_of(source.members, [](const auto &m) { return m.place == newer_cookie_place; }))
        source.members.removeIf(is_older);
    for (placed_member &member : source.members) {
        if (is_newer_cookie_store(member.place))
            member.place = cookie_place + member.place.sliced(newer_cookie_place.size());
    }
}

/// A file system may list the data of user 0 under two names. Companions stay with the first copy of their database.
void mark_second_copies(placed_source &source, std::span<const listed_member> members)
{
    const auto folder_of = [&](const placed_member &member) {
        return members[static_cast<std::size_t>(member.index)].path.section(u'/', 0, -2);
    };
    QHash<QString, QString> folders; // of the first copy of each database
    for (const placed_member &member : std::as_const(source.members)) {
        if (without_companion_suffix(member.place).size() == member.place.size() && !folders.contains(member.place))
            folders.insert(member.place, folder_of(member));
    }
    for (placed_member &member : source.members) {
        const QString folder = folders.value(without_companion_suffix(member.place).toString(), folder_of(member));
        member.of_second_copy = folder != folder_of(member);
    }
}

QList<placed_source> place_android(std::span<const listed_member> members)
{
    QMap<QString, placed_source> by_root;
    for (std::size_t i = 0; i < members.size(); ++i) {
        const std::optional<android_location> found = locate_android(members[i].path);
        if (!found)
            continue;
        const read_place *place = place_of(found->place);
        const bool is_store = place && place->how == read_place::use::newer_store;
        if (!is_store && !is_newer_cookie_store(found->place) && !is_read_at(found->place))
            continue;
        placed_source &source = by_root[found->root];
        source.scheme = android_scheme;
        source.root = found->root;
        if (!is_store) // a store makes a source, though it is not read
            source.members.append({static_cast<qsizetype>(i), found->place});
    }
    for (placed_source &source : by_root) {
        place_newer_cookies(source, members);
        mark_second_copies(source, members);
    }
    return by_root.values();
}

// ---- Takeout --------------------------------------------------------------------------------------------------------

/// A file below a folder of a "Takeout".
struct exported_file
{
    QString root;   ///< ends in "Takeout/"
    QString folder; ///< of the export
    QString rest;   ///< below that folder
};

/// A folder of mail may contain a "Takeout" of its own (a label of that name), and so may other folders of an export
/// (an older one that was kept): the first that contains "Mail" counts, else the last.
std::optional<exported_file> file_of_export(const QString &path)
{
    static const QRegularExpression with_mail(QStringLiteral("^((?:.*?/)?Takeout/)(Mail)/(.+)$"), any_name);
    static const QRegularExpression with_folder(QStringLiteral("^((?:.*/)?Takeout/)([^/]+)/(.+)$"), any_name);
    for (const QRegularExpression *each : {&with_mail, &with_folder}) {
        if (const auto match = each->match(path); match.hasMatch())
            return exported_file{match.captured(1), match.captured(2), match.captured(3)};
    }
    return {};
}

bool is_visible_mbox(const QString &place)
{
    return is_read_at(QString(mail_root + place));
}

/// The mail folders of each export, in any language: "Mail" if there is one, else each folder with an mbox in it.
QMap<QString, QSet<QString>> mail_folders(std::span<const listed_member> members)
{
    QMap<QString, QSet<QString>> folders;
    for (const listed_member &member : members) {
        const auto file = file_of_export(member.path);
        if (file && is_visible_mbox(file->rest) && (file->folder == u"Mail" || !file->rest.contains(u'/')))
            folders[file->root].insert(file->folder);
    }
    for (QSet<QString> &of_export : folders) {
        if (of_export.contains(QStringLiteral("Mail")))
            of_export = {QStringLiteral("Mail")};
    }
    return folders;
}

class takeout_placing
{
public:
    explicit takeout_placing(std::span<const listed_member> given)
        : members(given)
    {
    }

    QList<placed_source> place()
    {
        static const QRegularExpression in_mail(QStringLiteral("^((?:.*?/)?)Mail/(.+)$"), any_name);
        const QMap<QString, QSet<QString>> folders = mail_folders(members);
        for (std::size_t i = 0; i < members.size(); ++i) {
            const QString &path = members[i].path;
            if (const auto file = file_of_export(path)) {
                const QSet<QString> &mail = folders.value(file->root);
                if (mail.contains(file->folder))
                    add(i, file->root, mail.size() == 1 ? file->rest : QString(file->folder + u'/' + file->rest));
            } else if (const auto match = in_mail.match(path); match.hasMatch()) {
                add(i, match.captured(1), match.captured(2));
            }
        }
        for (std::size_t i = 0; i < members.size() && by_root.isEmpty(); ++i)
            add_loose(i);
        return loose.members.isEmpty() ? by_root.values() : QList<placed_source>{loose};
    }

private:
    void add(std::size_t index, const QString &root, const QString &place)
    {
        if (!is_visible_mbox(place))
            return;
        placed_source &source = by_root[root];
        source.scheme = takeout_scheme;
        source.root = root;
        source.members.append({static_cast<qsizetype>(index), mail_root + place});
    }

    void add_loose(std::size_t index)
    {
        if (is_visible_mbox(members[index].path))
            loose.members.append({static_cast<qsizetype>(index), mail_root + members[index].path});
    }

    std::span<const listed_member> members;
    QMap<QString, placed_source> by_root;
    placed_source loose = {takeout_scheme, {}, {}};
};

} // namespace

QList<placed_source> place_members(std::span<const listed_member> members)
{
    return takeout_placing(members).place() + place_android(members);
}

std::optional<android_location> locate_android(const QString &path)
{
    static const QRegularExpression backup(QStringLiteral("^((?:.*/)?)(apps/com\\.google\\.android\\.gm/.+)$"),
                                           any_name);
    static const QRegularExpression file_system(
        QStringLiteral("^((?:.*/)?)data/(?:data|user/(\\d+))/com\\.google\\.android\\.gm/(.+)$"), any_name);
    if (!path.contains(u"com.google.android.gm/"))
        return {};
    if (const auto match = backup.match(path); match.hasMatch())
        return android_location{match.captured(1), match.captured(2)};
    const auto match = file_system.match(path);
    if (!match.hasMatch())
        return {};
    // "data/data" is the data of user 0, which some images list under both names.
    const QString user = match.captured(2).isEmpty() ? QStringLiteral("0") : match.captured(2);
    return android_location{match.captured(1) + QLatin1StringView("user ") + user, place_in_backup(match.captured(3))};
}

bool may_be_placed(const QString &path)
{
    if (path.endsWith(mbox_suffix))
        return true;
    const std::optional<android_location> found = locate_android(path);
    if (!found)
        return false;
    const read_place *place = place_of(found->place);
    return is_newer_cookie_store(found->place) || (place && place->how != read_place::use::name_only);
}

bool has_names_only(const QString &folder)
{
    return folder.endsWith(body_place) &&
           (folder.size() == body_place.size() || folder.chopped(body_place.size()).endsWith(u'/'));
}
