/// A private folder below the result, for the files that the plug-in cannot read where they are.
#pragma once

#include "host/pass/digest.h"
#include "host/refusal.h"
#include "host/sources/member.h"

#include <QFile>

/// Limits for hostile archives. They count the bytes and members actually read, not those that an archive declares.
struct staging_limits
{
    qint64 max_bytes = 256LL * 1024 * 1024 * 1024;
    qint64 max_members = 5'000'000;
    qint64 max_ratio = 200;               ///< bytes that come out of an archive to bytes of its file
    qint64 min_free = 64LL * 1024 * 1024; ///< bytes left on the disk
};

class staging_area
{
public:
    /// Nothing is created on the disk before it is needed.
    staging_area(QString parent_directory, const staging_limits &limits);
    ~staging_area();
    Q_DISABLE_COPY_MOVE(staging_area)

    /// Remove the folder, and the parent if it is empty then.
    void remove();

    /// Remove the leftovers of runs that were killed.
    void remove_leftovers() const;

    /// A folder for one source's files; ends in "/". Empty when it cannot be created.
    [[nodiscard]] QString folder(int number);

    /// Members and bytes from here on come from a source file of this size; 0 for one that is not packed.
    void begin_source(const QString &path, qint64 size);

    [[nodiscard]] maybe_refusal count_member();

    /// Write a member to `target`, a new file, or only let it pass through `digest` when `target` is empty.
    /// `go_on` is called for each block; false is a cancel.
    [[nodiscard]] maybe_refusal stage(member_reader &reader, const QString &target, file_digest &digest,
                                      const on_block &go_on);

private:
    [[nodiscard]] maybe_refusal count_bytes(qint64 count);
    [[nodiscard]] maybe_refusal check_room() const;

    QString parent;
    QString path; ///< empty until it is created
    staging_limits limits;
    QString source;
    qint64 source_size = 0;
    qint64 bytes_of_source = 0;
    qint64 bytes_in_all = 0;
    qint64 bytes_at_check = 0;
    qint64 members = 0;
};
