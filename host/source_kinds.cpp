#include "host/source_kinds.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using use = read_place::use;

constexpr read_table provider_tables[] = {
    {"Message"_L1, "messages"_L1,
     "_id,displayName,timeStamp,subject,flagAttachment,messageId,mailboxKey,fromList,toList,ccList,bccList,replyToList,"
     "snippet,flagSeen"_L1},
    {"Attachment"_L1, "attachments"_L1, "_id,fileName,mimeType,size,contentId,contentUri,messageKey"_L1},
    {"Mailbox"_L1, "mailbox"_L1,
     "displayName,serverId,syncTime,lastTouchedTime,messageCount,unreadCount,totalCount"_L1},
    {"Account"_L1, "accounts"_L1, "displayName,emailAddress,senderName,ringtoneUri"_L1, true},
};
constexpr read_table store_tables[] = {
    {"messages"_L1, "messages"_L1,
     "_id,subject,messageId,fromAddress,toAddresses,ccAddresses,bccAddresses,replyToAddresses,snippet,dateSentMs,"
     "dateReceivedMs,permalink,bodyCompressed"_L1},
    {"attachments"_L1, "attachments"_L1, "_id,filename,mimeType,size,messages_messageId"_L1},
};
constexpr read_table cookie_tables[] = {
    {"cookies"_L1, "cookies"_L1,
     "host_key,name,value,path,creation_utc,expires_utc,last_access_utc,is_secure,is_httponly,has_expires,"
     "is_persistent"_L1},
};

constexpr QLatin1StringView whole; // `name_begin` is the whole name
constexpr read_place mail_places[] = {{use::mail, mail_root, ""_L1, mbox_suffix, true}};
constexpr read_place android_places[] = {
    {use::database, database_folder, "EmailProvider.db"_L1, whole, false, provider_tables},
    {use::database, database_folder, "mailstore."_L1, ".db"_L1, true, store_tables},
    {use::newer_store, database_folder, "bigTopDataDB."_L1, ""_L1, true},
    {use::database, "apps/com.google.android.gm/r/app_webview/"_L1, "Cookies"_L1, whole, false, cookie_tables},
    {use::settings, "apps/com.google.android.gm/sp/"_L1, "warm_accounts_preferences.xml"_L1, whole},
    {use::settings, "apps/com.google.android.gm/sp/"_L1, "UnifiedEmail.xml"_L1, whole},
    {use::name_only, body_place, ""_L1, ""_L1, true},
    {use::name_only, cached_attachments_place, ""_L1, ""_L1, true},
};

constexpr source_kind kinds[] = {
    {"macOS"_L1, {}, {}},
    {"iOS_UID"_L1, {}, {}},
    {"winOS"_L1, {}, {}},
    {takeout_scheme, mail_root, mail_places, true},
    {android_scheme, android_root, android_places},
};

bool fits(const read_place &place, QStringView path)
{
    if (!path.startsWith(place.folder))
        return false;
    QStringView rest = path.sliced(place.folder.size());
    if (place.how == use::mail && (rest.startsWith(u'.') || rest.contains(u"/.")))
        return false;
    const qsizetype slash = rest.lastIndexOf(u'/');
    if (slash >= 0 && !place.below)
        return false;
    const QStringView name = rest.sliced(slash + 1);
    return place.name_end.isNull() ? name == place.name_begin
                                   : name.startsWith(place.name_begin) && name.endsWith(place.name_end);
}

} // namespace

std::span<const source_kind> source_kinds()
{
    return kinds;
}

const source_kind *kind_of_scheme(QStringView scheme)
{
    const auto found = std::ranges::find_if(kinds, [&](const source_kind &kind) { return kind.scheme == scheme; });
    return found == std::end(kinds) ? nullptr : &*found;
}

const read_place *place_of(QStringView path)
{
    const QStringView database = without_companion_suffix(path);
    for (const source_kind &kind : kinds) {
        for (const read_place &place : kind.places) {
            const bool has_companions = place.how == use::database || place.how == use::newer_store;
            if (fits(place, has_companions ? database : path))
                return &place;
        }
    }
    return nullptr;
}

bool is_read_at(QStringView path)
{
    const read_place *place = place_of(path);
    return place && (place->how == use::mail || place->how == use::database || place->how == use::settings);
}

bool is_walked(QStringView path)
{
    const QString entry = path + QLatin1Char('/');
    return std::ranges::any_of(kinds, [&](const source_kind &kind) {
        return std::ranges::any_of(
            kind.places, [&](const read_place &place) { return place.below && entry.startsWith(place.folder); });
    });
}

bool is_looked_for(QStringView path)
{
    const read_place *place = place_of(path);
    return place && place->how == use::name_only;
}

QStringView without_companion_suffix(QStringView path)
{
    for (const QLatin1StringView suffix : {"-wal"_L1, "-shm"_L1}) {
        if (path.endsWith(suffix))
            return path.chopped(suffix.size());
    }
    return path;
}
