#include "host/sources/member_staging.h"

#include "host/source_kinds.h"
#include "host/sources/open_reader.h"
#include "host/sources/passed_over.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

#include <algorithm>

namespace {

constexpr qsizetype max_name = 255; // bytes

/// Another name for a place that a file system may not accept, or that the plug-in would not see.
QString safe_place(const placed_member &to)
{
    for (const QString &name : to.place.split(u'/')) {
        const bool odd = name.toUtf8().size() > max_name || std::any_of(name.begin(), name.end(), [](QChar c) {
                             return c < u' ' || c == QChar::ReplacementCharacter;
                         });
        if (odd && to.place.startsWith(mail_root))
            return QStringLiteral("Mail/member-%1.mbox").arg(to.index);
    }
    return to.place;
}

class member_staging
{
public:
    member_staging(const source_listing &listed, std::span<ready_source> sources, const prepare_options &settings,
                   staging_area &area, const on_progress &on_bytes)
        : listing(listed)
        , made(sources)
        , options(settings)
        , staging(area)
        , progress(on_bytes)
    {
    }

    void aim_at(const QList<placed_source> &placed);
    maybe_refusal run();

private:
    /// Where a member goes.
    struct target
    {
        const placed_member *to;
        std::size_t source;
    };

    maybe_refusal stage_from(std::size_t index, member_reader &reader);
    maybe_refusal stage_one(member_reader &reader, const found_member &from, const target &to);
    maybe_refusal compare(member_reader &reader, const found_member &from, const source_file &first,
                          ready_source &into);
    void make_name(const QString &path) const;
    bool go_on() const { return progress(staging_phase, bytes_staged, qMax(bytes_listed, bytes_staged)); }

    const source_listing &listing;
    std::span<ready_source> made;
    const prepare_options &options;
    staging_area &staging;
    const on_progress &progress;
    QHash<std::size_t, target> targets; ///< by index in the listing
    QHash<QString, std::size_t> roots;  ///< of Android sources
    QHash<QString, qsizetype> taken;    ///< staged files: index in the files of their source
    std::size_t at_member = 0;          ///< in the listing
    qint64 bytes_listed = 0;
    qint64 bytes_staged = 0;
};

void member_staging::aim_at(const QList<placed_source> &placed)
{
    for (std::size_t i = 0; i < made.size(); ++i) {
        if (!made[i].staged)
            continue;
        const placed_source &source = placed.at(static_cast<qsizetype>(i));
        if (source.scheme == android_scheme)
            roots.insert(source.root, i);
        for (const placed_member &to : source.members) {
            const auto index = static_cast<std::size_t>(to.index);
            targets.insert(index, {&to, i});
            bytes_listed += listing.members[index].entry.declared_size;
        }
    }
}

/// The plug-in only checks whether some files exist: those are created empty.
void member_staging::make_name(const QString &path) const
{
    const std::optional<android_location> found = locate_android(path);
    if (!found || !is_looked_for(found->place))
        return;
    const auto source = roots.constFind(found->root);
    if (source == roots.constEnd())
        return;
    const QString named = made[*source].found.root + found->place;
    QDir().mkpath(QFileInfo(named).path());
    QFile(named).open(QIODevice::WriteOnly | QIODevice::NewOnly);
}

/// A second path to the same bytes loses nothing; different bytes would be lost silently.
maybe_refusal member_staging::compare(member_reader &reader, const found_member &from, const source_file &first,
                                      ready_source &into)
{
    file_digest digest(true, false);
    const auto count_bytes = [this](qint64 count) {
        bytes_staged += count;
        return go_on();
    };
    if (maybe_refusal refused = staging.stage(reader, {}, digest, count_bytes))
        return refused;
    const QString hash = first.sha256_before.isEmpty()
                             ? sha256_of_file(into.found.root + first.place, [](qint64) { return true; })
                             : first.sha256_before;
    if (digest.sha256() == hash) {
        note_skipped(into, QStringLiteral("second copy of a file that was read"), from.entry.path);
        return {};
    }
    note_skipped(into, QStringLiteral("second file for the same place"), from.entry.path);
    into.failures.append(from.entry.path + QLatin1StringView(": is not read, and differs from ") + first.member +
                         QLatin1StringView(", which is read in its place"));
    return {};
}

maybe_refusal member_staging::stage_one(member_reader &reader, const found_member &from, const target &to)
{
    ready_source &into = made[to.source];
    const QString place = safe_place(*to.to);
    const QString path = into.found.root + place;
    if (const auto first = taken.constFind(path); first != taken.constEnd())
        return compare(reader, from, into.files.at(*first), into);
    if (to.to->of_second_copy) {
        note_skipped(into, QStringLiteral("companion of a second copy of a database"), from.entry.path);
        into.failures.append(from.entry.path +
                             QLatin1StringView(": is not read; it belongs to a second copy of its database"));
        return {};
    }
    const bool is_mail = place.startsWith(mail_root);
    file_digest digest(options.hash, options.hash && is_mail);
    const bool keep = options.keep_mail || !is_mail;
    const maybe_refusal refused = staging.stage(reader, keep ? path : QString(), digest, [this](qint64 count) {
        bytes_staged += count;
        return go_on();
    });
    if (refused)
        return refused;
    taken.insert(path, into.files.size());
    into.files.append({.place = place,
                       .given_in = listing.notes.given.at(static_cast<qsizetype>(from.reader)).path,
                       .member = from.entry.path,
                       .size = digest.size(),
                       .modified = from.entry.modified,
                       .sha256_before = digest.sha256(),
                       .sha256_after = {},
                       .separators = is_mail && options.hash ? digest.separators() : -1});
    return {};
}

maybe_refusal member_staging::stage_from(std::size_t index, member_reader &reader)
{
    for (member entry; reader.next(entry);) {
        if (!go_on())
            return refused_as_cancelled;
        if (entry.type != member::kind::file || !entry.fault.isEmpty() || !why_dropped(entry).isEmpty())
            continue;
        const QString path = plain_path(entry.path);
        const bool is_listed = at_member < listing.members.size() && listing.members[at_member].reader == index &&
                               listing.members[at_member].entry.path == path;
        if (!is_listed) {
            make_name(path);
            continue;
        }
        const found_member &from = listing.members[at_member];
        const auto to = targets.constFind(at_member++);
        if (to == targets.constEnd())
            continue;
        if (maybe_refusal refused = stage_one(reader, from, *to))
            return refused;
    }
    return reader.failure();
}

maybe_refusal member_staging::run()
{
    for (qsizetype i = 0; i < listing.notes.given.size(); ++i) {
        const given_source &given = listing.notes.given.at(i);
        std::unique_ptr<member_reader> reader;
        if (maybe_refusal unreadable = open_reader(given.path, {.go_on = options.go_on, .hash = options.hash}, reader))
            return unreadable;
        staging.begin_source(given.path, qMax<qint64>(given.size, 0));
        if (maybe_refusal refused = stage_from(static_cast<std::size_t>(i), *reader))
            return refused;
        const QString hash = reader->sha256([this](qint64) { return go_on(); });
        for (ready_source &source : made)
            source.given[i].sha256_before = hash;
    }
    return {};
}

} // namespace

maybe_refusal stage_members(const source_listing &listing, const QList<placed_source> &placed,
                            std::span<ready_source> made, const prepare_options &options, staging_area &staging,
                            const on_progress &progress)
{
    member_staging stage(listing, made, options, staging, progress);
    stage.aim_at(placed);
    return stage.run();
}
