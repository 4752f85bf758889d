/// The reader for what was given on the command line.
#pragma once

#include "host/sources/member.h"

#include <memory>

/// A directory, an archive, or a single mbox file: told from the content, for an mbox also from the name. Refused when
/// it is none of these, empty, or cannot be read.
[[nodiscard]] maybe_refusal open_reader(const QString &path, std::unique_ptr<member_reader> &reader);
