#include "host/sources/layout.h"

#include <QMap>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace {

constexpr QLatin1StringView android_root("apps/com.google.android.gm/");
constexpr QLatin1StringView cookie_place("r/app_webview/Cookies");
constexpr QLatin1StringView newer_cookie_place("r/app_webview/Default/Cookies");

constexpr auto any_name = QRegularExpression::DotMatchesEverythingOption; // names may hold line feeds

QString without_companion_suffix(const QString &path)
{
    for (const QLatin1StringView suffix : {QLatin1StringView("-wal"), QLatin1StringView("-shm")}) {
        if (path.endsWith(suffix))
            return path.chopped(suffix.size());
    }
    return path;
}

/// Of the files below the application's root: those the plug-in opens.
bool is_read_by_android(const QString &place)
{
    if (place == u"sp/warm_accounts_preferences.xml" || place == u"sp/UnifiedEmail.xml")
        return true;
    const QString database = without_companion_suffix(place);
    if (database == u"db/EmailProvider.db" || database == cookie_place)
        return true;
    const QString name = database.section(u'/', -1);
    return database.startsWith(u"db/") && name.startsWith(u"mailstore.") && name.endsWith(u".db");
}

/// Of the files below the application's root: those whose names alone matter.
bool is_looked_for_by_android(const QString &place)
{
    return place.startsWith(u"f/body/0/") || place.startsWith(u"db/1.db_att/");
}

/// Where a file of the application lies in a backup's layout.
QString place_in_backup(const QString &rest)
{
    static const QMap<QString, QString> folders = {{QStringLiteral("databases"), QStringLiteral("db")},
                                                   {QStringLiteral("shared_prefs"), QStringLiteral("sp")},
                                                   {QStringLiteral("files"), QStringLiteral("f")}};
    const QString folder = rest.section(u'/', 0, 0);
    const auto known = folders.constFind(folder);
    return known == folders.constEnd() ? QString(u"r/" + rest) : QString(*known + rest.sliced(folder.size()));
}

/// A newer web view's cookie store takes the older one's place where nothing is stored there.
void place_newer_cookies(placed_source &source, std::span<const listed_member> members)
{
    const auto is_older = [&](const placed_member &m) { return m.place.startsWith(android_root + cookie_place); };
    const bool older_holds_something = std::ranges::any_of(source.members, [&](const placed_member &m) {
        return m.place == android_root + cookie_place && !members[static_cast<std::size_t>(m.index)].is_empty;
    });
    const QString newer = android_root + newer_cookie_place;
    const bool has_newer = std::ranges::any_of(source.members, [&](const auto &m) { return m.place == newer; });
    if (has_newer && !older_holds_something)
        source.members.removeIf(is_older);
    for (placed_member &member : source.members) {
        if (!older_holds_something && member.place.startsWith(newer))
            member.place = android_root + cookie_place + member.place.sliced(newer.size());
    }
}

QList<placed_source> place_android(std::span<const listed_member> members)
{
    static const QRegularExpression backup(QStringLiteral("^(.*/)?apps/com\\.google\\.android\\.gm/(.+)$"), any_name);
    static const QRegularExpression file_system(
        QStringLiteral("^(.*/)?data/(?:data|user/(\\d+))/com\\.google\\.android\\.gm/(.+)$"), any_name);

    QMap<QString, placed_source> by_user;
    for (std::size_t i = 0; i < members.size(); ++i) {
        QString user, place;
        if (const auto match = backup.match(members[i].path); match.hasMatch()) {
            user = match.captured(1);
            place = match.captured(2);
        } else if (const auto inside = file_system.match(members[i].path); inside.hasMatch()) {
            // "data/data" is the data of user 0, which some images hold under both names.
            user = inside.captured(1) + QLatin1StringView("user ") +
                   (inside.captured(2).isEmpty() ? QStringLiteral("0") : inside.captured(2));
            place = place_in_backup(inside.captured(3));
        } else {
            continue;
        }
        const bool newer_cookies = without_companion_suffix(place) == newer_cookie_place;
        const bool read = newer_cookies || is_read_by_android(place);
        if (!read && !is_looked_for_by_android(place))
            continue;
        placed_source &source = by_user[user];
        source.scheme = QStringLiteral("androidOS");
        source.user = user;
        source.members.append({static_cast<qsizetype>(i), android_root + place, read});
    }
    for (placed_source &source : by_user) {
        place_newer_cookies(source, members);
        source.members.removeIf([](const placed_member &m) {
            return m.content && !is_read_by_android(m.place.sliced(android_root.size()));
        });
    }
    if (by_user.size() == 1)
        by_user.first().user.clear();
    return by_user.values();
}

bool is_visible_mbox(const QString &path)
{
    return path.endsWith(u".mbox") && !path.startsWith(u'.') && !path.contains(u"/.");
}

/// The mail folder of an export, of whatever language: "Mail" if there is one, else each folder with an mbox in it.
QStringList mail_folders(const QRegularExpression &in_takeout, std::span<const listed_member> members)
{
    QSet<QString> folders;
    for (const listed_member &member : members) {
        const auto match = in_takeout.match(member.path);
        if (match.hasMatch() && !match.captured(2).contains(u'/') && is_visible_mbox(match.captured(2)))
            folders.insert(match.captured(1));
        else if (match.hasMatch() && match.captured(1) == u"Mail" && is_visible_mbox(match.captured(2)))
            folders.insert(QStringLiteral("Mail"));
    }
    return folders.contains(QStringLiteral("Mail")) ? QStringList(QStringLiteral("Mail")) : folders.values();
}

QList<placed_source> place_takeout(std::span<const listed_member> members)
{
    static const QRegularExpression in_takeout(QStringLiteral("^(?:.*/)?Takeout/([^/]+)/(.+)$"), any_name);
    static const QRegularExpression in_mail(QStringLiteral("^(?:.*/)?Mail/(.+)$"), any_name);

    const QStringList folders = mail_folders(in_takeout, members);
    const bool has_mail =
        std::ranges::any_of(members, [](const listed_member &m) { return in_mail.match(m.path).hasMatch(); });
    placed_source source = {QStringLiteral("gTakeoutOS"), {}, {}};
    for (std::size_t i = 0; i < members.size(); ++i) {
        const QString &path = members[i].path;
        QString place;
        if (!folders.isEmpty()) {
            const auto match = in_takeout.match(path);
            if (match.hasMatch() && folders.contains(match.captured(1)))
                place = folders.size() == 1 ? match.captured(2) : match.captured(1) + u'/' + match.captured(2);
        } else if (has_mail) {
            place = in_mail.match(path).captured(1);
        } else {
            place = path;
        }
        if (is_visible_mbox(place))
            source.members.append({static_cast<qsizetype>(i), u"Mail/" + place});
    }
    return source.members.isEmpty() ? QList<placed_source>() : QList<placed_source>{source};
}

} // namespace

QList<placed_source> place_members(std::span<const listed_member> members)
{
    return place_takeout(members) + place_android(members);
}

bool is_read_at(const QString &place)
{
    return place.startsWith(android_root) ? is_read_by_android(place.sliced(android_root.size()))
                                          : place.startsWith(u"Mail/") && is_visible_mbox(place);
}
