/// Members of a source that are not read: counted, and named where they may be mail.
#pragma once

#include "host/sources/member.h"
#include "host/sources/ready_source.h"

/// Why a member is left out without a look at its contents; empty when it is an ordinary file with an ordinary path.
[[nodiscard]] QString why_dropped(const member &entry);

/// Without "./" at the beginning and doubled slashes.
[[nodiscard]] QString plain_path(const QString &path);

/// Count a member that is not read, and keep its path if it is one of the first.
void note_skipped(ready_source &source, const QString &reason, const QString &path);

/// The same for a dropped member; one that may be mail gets a remark, too.
void note_dropped(ready_source &source, const QString &reason, const member &entry);

/// Why an ordinary file without a place is to be named: it may be mail. Empty when it is of no interest.
[[nodiscard]] QString why_passed_over(const QString &path);

/// Count and name such a file. `in_archive`: the source is not a directory.
void note_passed_over(ready_source &source, const QString &path, bool in_archive);

/// True for a path that a mail file, a database of mail, an export, or a folder of these would have.
[[nodiscard]] bool may_be_mail(const QString &path);
