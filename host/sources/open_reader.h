/// Opens the reader for a path on the command line.
#pragma once

#include "host/sources/directory_reader.h"
#include "host/sources/password.h"

#include <memory>

struct reader_options
{
    still_wanted go_on;                                  ///< can end the waiting for a password
    directory_reader::folder_filter leave_out = nullptr; ///< folders of a directory that need not be listed
    bool hash = false;                                   ///< hash a file while it is read
};

/// A directory, an archive, or a single mbox file: recognised by the content, an mbox also by the name. Refused when it
/// is none of these, empty, or cannot be read.
[[nodiscard]] maybe_refusal open_reader(const QString &path, const reader_options &options,
                                        std::unique_ptr<member_reader> &reader);
