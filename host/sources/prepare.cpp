#include "host/sources/prepare.h"

#include "host/source_kinds.h"
#include "host/sources/member_staging.h"
#include "host/sources/passed_over.h"
#include "host/sources/source_listing.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <span>

namespace {

constexpr qsizetype max_remarks_of_refusal = 3;

/// One source as it was given: a directory, a file, or the parts of an export.
class source_preparation
{
public:
    source_preparation(const given_group &group, const prepare_options &settings, staging_area &area,
                       const on_progress &on_bytes)
        : given(group)
        , options(settings)
        , staging(area)
        , progress(on_bytes)
        , directory(group.paths.size() == 1 && QFileInfo(group.paths.first()).isDir()
                        ? with_slash(QDir::cleanPath(QFileInfo(group.paths.first()).absoluteFilePath()))
                        : QString())
    {
    }

    /// Append the sources that come out of it.
    maybe_refusal run(QList<ready_source> &ready);

private:
    void read_in_place(ready_source &source, const evidence &found) const;
    bool lies_in_place(const placed_source &placed) const;
    maybe_refusal add_nothing_placed(QList<ready_source> &ready);
    maybe_refusal add_placed(QList<ready_source> &ready);
    void note_members_without_place();
    [[nodiscard]] std::size_t innermost_source_of(const QString &path) const;
    void note_what_is_left_out(std::span<ready_source> made);

    const given_group &given;
    const prepare_options &options;
    staging_area &staging;
    const on_progress &progress;
    QString directory; ///< ends in "/"; empty when it is none

    source_listing listing;
    QList<placed_source> placed;
};

void source_preparation::read_in_place(ready_source &source, const evidence &found) const
{
    source.found = found;
    source.files = files_in_place(found, given.paths.first());
}

/// True when the plug-in finds every file of the source where it is.
bool source_preparation::lies_in_place(const placed_source &source) const
{
    const bool has_folder = source.root.isEmpty() || source.root.endsWith(u'/');
    return !directory.isEmpty() && has_folder && std::ranges::all_of(source.members, [&](const placed_member &member) {
        return listing.members[static_cast<std::size_t>(member.index)].entry.path == source.root + member.place;
    });
}

/// A directory may still have the folders of a source, and with a given scheme anything is read.
maybe_refusal source_preparation::add_nothing_placed(QList<ready_source> &ready)
{
    evidence found;
    const maybe_refusal unknown = directory.isEmpty() ? not_recognised(given.paths.join(QLatin1StringView(", ")))
                                                      : recognise(given.paths.first(), options.scheme, found);
    if (!unknown) {
        ready.append(listing.notes);
        read_in_place(ready.last(), found);
        note_what_is_left_out({&ready.last(), 1});
        return {};
    }
    if (listing.in_all == 0)
        return refusal{exit_status::bad_source, given.paths.join(QLatin1StringView(", ")) +
                                                    (directory.isEmpty() ? QLatin1StringView(": is an empty archive")
                                                                         : QLatin1StringView(": is an empty folder"))};
    ready_source refused = listing.notes;
    note_what_is_left_out({&refused, 1});
    const QStringList reasons = refused.failures + refused.remarks;
    QString text = unknown->text;
    for (const QString &reason : reasons.first(qMin(reasons.size(), max_remarks_of_refusal)))
        text += QLatin1StringView("; ") + reason;
    return refusal{unknown->status, text};
}

void source_preparation::note_members_without_place()
{
    std::vector<bool> has_place(listing.members.size(), false);
    for (const placed_source &source : std::as_const(placed)) {
        for (const placed_member &member : source.members)
            has_place[static_cast<std::size_t>(member.index)] = true;
    }
    for (std::size_t i = 0; i < has_place.size(); ++i) {
        const QString &path = listing.members[i].entry.path;
        if (has_place[i])
            continue;
        if (why_passed_over(path).isEmpty())
            ++listing.not_read;
        else
            listing.passed_over.append(path);
    }
}

/// The index of the placed source with the longest root above `path`; the first when there is none.
std::size_t source_preparation::innermost_source_of(const QString &path) const
{
    qsizetype found = 0;
    for (qsizetype i = 1; i < placed.size(); ++i) {
        const bool is_nearer =
            !path.startsWith(placed.at(found).root) || placed.at(i).root.size() > placed.at(found).root.size();
        if (is_nearer && path.startsWith(placed.at(i).root))
            found = i;
    }
    return static_cast<std::size_t>(found);
}

/// Links to files are read where the source is read in place; faults in folders that the plug-in walks are left to its
/// log.
void source_preparation::note_what_is_left_out(std::span<ready_source> made)
{
    const auto reads = [&](const QString &path, auto test) {
        return std::ranges::find_if(made, [&, full = QString(directory + path)](const ready_source &source) {
            return !source.staged && full.startsWith(source.found.root) &&
                   test(source, full.sliced(source.found.root.size()));
        });
    };
    for (const member &link : std::as_const(listing.links)) {
        const auto found = reads(link.path, [](const ready_source &source, const QString &place) {
            return std::ranges::any_of(source.files, [&](const source_file &file) { return file.place == place; });
        });
        if (found == made.end())
            note_dropped(made.front(), why_dropped(link), link);
    }
    for (const QString &path : std::as_const(listing.passed_over))
        note_passed_over(made[innermost_source_of(path)], path, directory.isEmpty());
    for (const member &each : std::as_const(listing.faults)) {
        const QString text = directory + each.path + QLatin1StringView(": cannot be read (") + each.fault + u')';
        const auto found =
            reads(each.path, [](const ready_source &, const QString &place) { return is_walked(place); });
        if (found != made.end())
            found->faults.append(text);
        else
            made.front().failures.append(text);
    }
}

maybe_refusal source_preparation::add_placed(QList<ready_source> &ready)
{
    const qsizetype first = ready.size();
    for (const placed_source &each : std::as_const(placed)) {
        ready.append(ready.size() == first ? listing.notes : ready_source{.found = {}, .given = listing.notes.given});
        ready_source &source = ready.last();
        const auto same_kind = [&](const placed_source &other) { return other.scheme == each.scheme; };
        source.user = std::ranges::count_if(placed, same_kind) > 1 ? each.root : QString();
        source.staged = !lies_in_place(each);
        if (!source.staged)
            read_in_place(source, {each.scheme, directory + each.root, true});
        else
            source.found = {each.scheme, staging.folder(static_cast<int>(ready.size())), true};
        if (source.found.root.isEmpty())
            return refusal{exit_status::bad_result,
                           QStringLiteral("the folder for unpacking cannot be created; choose another RESULT_DIR")};
    }
    const std::span<ready_source> made(&ready[first], static_cast<std::size_t>(ready.size() - first));
    note_what_is_left_out(made);
    const auto staged = std::ranges::find_if(made, &ready_source::staged);
    if (staged == made.end())
        return {};
    if (listing.not_read > 0)
        staged->skipped[QStringLiteral("not read by the plug-in")] += listing.not_read;
    return stage_members(listing, placed, made, options, staging, progress);
}

maybe_refusal source_preparation::run(QList<ready_source> &ready)
{
    if (maybe_refusal unreadable = list_source(given, options, staging, progress, listing))
        return unreadable;
    std::vector<listed_member> listed;
    listed.reserve(listing.members.size());
    for (const found_member &each : listing.members)
        listed.push_back({each.entry.path, each.entry.declared_size == 0});
    placed = place_members(listed);
    note_members_without_place();
    if (!options.scheme.isEmpty())
        placed.removeIf([this](const placed_source &source) { return source.scheme != options.scheme; });
    return placed.isEmpty() ? add_nothing_placed(ready) : add_placed(ready);
}

} // namespace

maybe_refusal prepare_sources(const QStringList &sources, const prepare_options &options, staging_area &staging,
                              const on_progress &progress, QList<ready_source> &ready)
{
    QList<given_group> groups;
    maybe_refusal refused = group_parts(sources, options.accept_missing_parts, options.go_on, groups);
    for (qsizetype i = 0; i < groups.size() && !refused; ++i) {
        refused = source_preparation(groups.at(i), options, staging, progress).run(ready);
    }
    if (refused)
        staging.remove();
    return refused;
}
