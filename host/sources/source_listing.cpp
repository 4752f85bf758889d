#include "host/sources/source_listing.h"

#include "host/source_kinds.h"
#include "host/sources/layout.h"
#include "host/sources/open_reader.h"
#include "host/sources/passed_over.h"

#include <QFileInfo>

namespace {

/// Add one member to the list that it belongs in.
void add(source_listing &listing, std::size_t reader, member entry, bool is_directory)
{
    if (!entry.fault.isEmpty()) {
        listing.faults.append(entry);
        return;
    }
    if (entry.type == member::kind::directory)
        return;
    if (is_directory && entry.type == member::kind::link && may_be_mail(entry.path)) {
        listing.links.append(entry); // one to a file is read where the source is read in place
        return;
    }
    if (const QString reason = why_dropped(entry); !reason.isEmpty()) {
        note_dropped(listing.notes, reason, entry);
        return;
    }
    entry.path = plain_path(entry.path);
    const std::optional<android_location> found = locate_android(entry.path);
    if (may_be_placed(entry.path))
        listing.members.push_back({reader, entry});
    else if (!why_passed_over(entry.path).isEmpty())
        listing.passed_over.append(entry.path);
    else if (!found || !is_looked_for(found->place))
        ++listing.not_read;
}

} // namespace

maybe_refusal list_source(const given_group &group, const prepare_options &options, staging_area &staging,
                          const on_progress &progress, source_listing &listing)
{
    listing.notes.remarks = group.remarks;
    for (qsizetype i = 0; i < group.paths.size(); ++i) {
        const QString &path = group.paths.at(i);
        const file_identity identity = identity_of(path);
        std::unique_ptr<member_reader> reader;
        if (maybe_refusal unreadable = open_reader(path, {options.go_on, has_names_only}, reader))
            return unreadable;
        const bool is_directory = QFileInfo(path).isDir();
        staging.begin_source(path, is_directory ? 0 : QFileInfo(path).size());
        qint64 number = 0;
        for (member entry; reader->next(entry); ++number) {
            maybe_refusal too_many = is_directory ? maybe_refusal() : staging.count_member();
            if (too_many)
                return too_many;
            if (!progress(listing_phase, 0, 0))
                return refused_as_cancelled;
            add(listing, static_cast<std::size_t>(i), entry, is_directory);
        }
        if (reader->failure())
            return reader->failure();
        listing.in_all += number;
        if (const QString doubt = reader->doubt(); !doubt.isEmpty())
            listing.notes.failures.append(doubt);
        listing.notes.given.append({.path = path,
                                    .type = reader->format(),
                                    .size = is_directory ? -1 : identity.size,
                                    .identity = identity,
                                    .sha256_before = {},
                                    .sha256_after = {}});
    }
    return {};
}
