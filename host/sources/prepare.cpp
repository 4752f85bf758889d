#include "host/sources/prepare.h"

#include "host/sources/directory_reader.h"
#include "host/sources/layout.h"
#include "host/sources/open_reader.h"
#include "host/sources/parts.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <memory>
#include <vector>

namespace {

constexpr qsizetype most_skipped_paths = 100;
constexpr qsizetype longest_name = 255; // bytes
constexpr QLatin1StringView staging_phase("unpacking the source");

// ---- Members --------------------------------------------------------------------------------------------------------

/// A regular file of one of the readers of a source.
struct found_member
{
    std::size_t reader;
    qint64 number; ///< among all members of the reader
    member entry;
};

/// Why a member is left out whatever it holds; empty when it is an ordinary file with an ordinary path.
QString why_dropped(const member &entry)
{
    if (entry.type == member::kind::link)
        return QStringLiteral("link");
    if (entry.type == member::kind::special)
        return QStringLiteral("device or pipe");
    if (entry.path.isEmpty())
        return QStringLiteral("name that cannot be read");
    if (entry.path.startsWith(u'/'))
        return QStringLiteral("absolute path");
    if (entry.path.split(u'/').contains(QStringLiteral("..")))
        return QStringLiteral("path with ..");
    return {};
}

/// Without "./" in front and doubled slashes.
QString plain_path(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    return clean == u"." ? QString() : clean;
}

void note_skipped(ready_source &source, const QString &reason, const QString &path)
{
    ++source.skipped[reason];
    if (source.skipped_paths.size() < most_skipped_paths)
        source.skipped_paths.append(reason + QLatin1StringView(": ") + path);
}

// ---- One source -----------------------------------------------------------------------------------------------------

class source_preparation
{
public:
    source_preparation(QStringList paths, const prepare_options &settings, staging_area &area, const on_progress &told)
        : given(std::move(paths))
        , options(settings)
        , staging(area)
        , progress(told)
    {
    }

    maybe_refusal run(QList<ready_source> &ready);

private:
    maybe_refusal list_members();
    maybe_refusal stage_members(const QList<placed_source> &placed, QList<ready_source> &ready, qsizetype first);
    maybe_refusal stage_member(member_reader &reader, const found_member &from, const placed_member &to,
                               ready_source &into);
    maybe_refusal nothing_found() const;
    ready_source source_of(const placed_source &placed, int number);

    QStringList given;
    const prepare_options &options;
    staging_area &staging;
    const on_progress &progress;

    ready_source common; ///< what all sources that come out of this one share
    std::vector<found_member> members;
    QSet<QString> taken; ///< paths of staged files
    qint64 bytes_listed = 0;
    qint64 bytes_staged = 0;
};

/// Read the headers of all members. Nothing is unpacked but what lies between them.
maybe_refusal source_preparation::list_members()
{
    for (std::size_t i = 0; i < static_cast<std::size_t>(given.size()); ++i) {
        const QString &path = given.at(static_cast<qsizetype>(i));
        std::unique_ptr<member_reader> reader;
        if (maybe_refusal unreadable = open_reader(path, reader))
            return unreadable;
        const bool is_directory = QFileInfo(path).isDir();
        staging.begin_source(path, is_directory ? 0 : QFileInfo(path).size());
        qint64 number = 0;
        for (member entry; reader->next(entry); ++number) {
            if (maybe_refusal too_many = staging.count_member())
                return too_many;
            if (!progress(staging_phase, 0, 0))
                return cancelled;
            if (entry.type == member::kind::directory)
                continue;
            if (const QString reason = why_dropped(entry); !reason.isEmpty()) {
                note_skipped(common, reason, entry.path);
                continue;
            }
            entry.path = plain_path(entry.path);
            members.push_back({i, number, entry});
        }
        if (reader->failure())
            return reader->failure();
        if (const QString doubt = reader->doubt(); !doubt.isEmpty())
            common.failures.append(doubt);
        common.given.append({.path = path,
                             .type = reader->format(),
                             .size = is_directory ? -1 : QFileInfo(path).size(),
                             .sha256_before = {},
                             .sha256_after = {}});
    }
    return {};
}

maybe_refusal source_preparation::nothing_found() const
{
    return refusal{
        exit_status::bad_source,
        given.join(QLatin1StringView(", ")) +
            QLatin1StringView(": no known kind of source; neither Mail/ nor Takeout/Mail/ nor another mbox nor "
                              "apps/com.google.android.gm/ nor data/data/com.google.android.gm/ is in it "
                              "(--scheme reads a directory all the same)")};
}

ready_source source_preparation::source_of(const placed_source &placed, int number)
{
    ready_source source = common;
    source.staged = true;
    source.user = placed.user;
    source.found = {placed.scheme, staging.folder(number), true};
    return source;
}

/// A place that a file system may not take, or that the plug-in would not see, gets another name.
QString safe_place(const placed_member &to)
{
    for (const QString &name : to.place.split(u'/')) {
        const bool odd = name.toUtf8().size() > longest_name || std::any_of(name.begin(), name.end(), [](QChar c) {
                             return c < u' ' || c == QChar::ReplacementCharacter;
                         });
        if (odd && to.place.startsWith(u"Mail/"))
            return QStringLiteral("Mail/member-%1.mbox").arg(to.index);
    }
    return to.place;
}

maybe_refusal source_preparation::stage_member(member_reader &reader, const found_member &from, const placed_member &to,
                                               ready_source &into)
{
    const QString place = safe_place(to);
    const QString target = into.found.root + place;
    if (!to.content) { // only asked for; the plug-in reads names
        QDir().mkpath(QFileInfo(target).path());
        QFile(target).open(QIODevice::WriteOnly | QIODevice::NewOnly);
        return {};
    }
    if (taken.contains(target)) {
        note_skipped(into, QStringLiteral("path that occurs before"), from.entry.path);
        into.failures.append(from.entry.path + QLatin1StringView(": occurs more than once; the first one is read"));
        return {};
    }
    const bool is_mail = place.startsWith(u"Mail/");
    file_digest digest(options.hash, options.hash && is_mail);
    const bool keep = options.keep_mail || !is_mail;
    taken.insert(target);
    const maybe_refusal refused = staging.stage(reader, keep ? target : QString(), digest, [this](qint64 count) {
        bytes_staged += count;
        return progress(staging_phase, bytes_staged, qMax(bytes_listed, bytes_staged));
    });
    if (refused)
        return refused;
    into.files.append({.place = place,
                       .given_in = given.at(static_cast<qsizetype>(from.reader)),
                       .member = from.entry.path,
                       .size = digest.size(),
                       .modified = from.entry.modified,
                       .sha256_before = digest.sha256(),
                       .sha256_after = {},
                       .separators = is_mail && options.hash ? digest.separators() : -1});
    return {};
}

/// Go through the readers a second time, for the members that have a place.
maybe_refusal source_preparation::stage_members(const QList<placed_source> &placed, QList<ready_source> &ready,
                                                qsizetype first)
{
    struct target
    {
        const placed_member *to;
        qsizetype source;
    };
    QHash<qsizetype, target> targets; // by index in `members`
    for (qsizetype i = 0; i < placed.size(); ++i) {
        for (const placed_member &to : placed.at(i).members) {
            targets.insert(to.index, {&to, first + i});
            bytes_listed += members[static_cast<std::size_t>(to.index)].entry.declared_size;
        }
    }
    qsizetype index = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(given.size()); ++i) {
        const QString &path = given.at(static_cast<qsizetype>(i));
        std::unique_ptr<member_reader> reader;
        if (maybe_refusal unreadable = open_reader(path, reader))
            return unreadable;
        staging.begin_source(path, QFileInfo(path).isDir() ? 0 : QFileInfo(path).size());
        qint64 number = 0;
        for (member entry; reader->next(entry); ++number) {
            if (!progress(staging_phase, bytes_staged, qMax(bytes_listed, bytes_staged)))
                return cancelled;
            const bool listed = static_cast<std::size_t>(index) < members.size() &&
                                members[static_cast<std::size_t>(index)].reader == i &&
                                members[static_cast<std::size_t>(index)].number == number;
            if (!listed)
                continue;
            const auto found = targets.constFind(index);
            const found_member &from = members[static_cast<std::size_t>(index++)];
            if (found == targets.constEnd()) {
                for (qsizetype each = first; each < ready.size(); ++each)
                    ++ready[each].skipped[QStringLiteral("not read by the plug-in")];
                continue;
            }
            if (maybe_refusal refused = stage_member(*reader, from, *found->to, ready[found->source]))
                return refused;
        }
        if (reader->failure())
            return reader->failure();
    }
    return {};
}

maybe_refusal source_preparation::run(QList<ready_source> &ready)
{
    const QString &only = given.first();
    evidence found;
    const bool is_directory = given.size() == 1 && QFileInfo(only).isDir();
    const maybe_refusal unknown = is_directory ? recognise(only, options.scheme, found) : maybe_refusal();
    if (is_directory && !unknown && found.has_artifacts) {
        common.found = found;
        common.given.append(
            {.path = only, .type = directory_reader::format_name, .size = -1, .sha256_before = {}, .sha256_after = {}});
        ready.append(common);
        return {};
    }

    if (maybe_refusal unreadable = list_members())
        return unreadable;
    std::vector<listed_member> listed;
    for (const found_member &each : members)
        listed.push_back({each.entry.path, each.entry.declared_size == 0});
    QList<placed_source> placed = place_members(listed);
    if (!options.scheme.isEmpty())
        placed.removeIf([this](const placed_source &source) { return source.scheme != options.scheme; });
    if (placed.isEmpty()) {
        if (!is_directory || unknown)
            return nothing_found();
        common.found = found; // read with the given scheme, though nothing is there
        ready.append(common);
        return {};
    }
    const qsizetype first = ready.size();
    for (const placed_source &each : std::as_const(placed)) {
        ready.append(source_of(each, static_cast<int>(ready.size())));
        if (ready.last().found.root.isEmpty())
            return refusal{exit_status::bad_result,
                           QStringLiteral("the folder for staging cannot be made; choose another "
                                          "RESULT_DIR")};
    }
    return stage_members(placed, ready, first);
}

} // namespace

maybe_refusal prepare_sources(const QStringList &sources, const prepare_options &options, staging_area &staging,
                              const on_progress &progress, QList<ready_source> &ready)
{
    QList<QStringList> groups;
    maybe_refusal refused = group_parts(sources, options.accept_missing_parts, groups);
    for (qsizetype i = 0; i < groups.size() && !refused; ++i) {
        const qsizetype first = ready.size();
        refused = source_preparation(groups.at(i), options, staging, progress).run(ready);
        for (qsizetype each = first; each < ready.size() && !refused; ++each) {
            ready_source &source = ready[each];
            if (!source.staged)
                source.files = files_in_place(source.found, source.given.first().path);
        }
    }
    if (refused)
        staging.remove();
    return refused;
}
