/// Recognises, by its folders, which kind of evidence a directory is.
#pragma once

#include "host/refusal.h"

/// A source as it is handed to the plug-in.
struct evidence
{
    QString scheme; ///< os scheme
    QString root;   ///< directory of the source's files; ends in "/"
    bool has_artifacts = false;
};

/// The os schemes, in the plug-in's order.
[[nodiscard]] QStringList os_schemes();

/// The place that a scheme's extractor looks for below the root; empty for a scheme that extracts nothing.
[[nodiscard]] QString looked_for(const QString &scheme);

/// Refuse a source that does not exist or cannot be read.
[[nodiscard]] maybe_refusal check_given(const QString &source);
[[nodiscard]] maybe_refusal check_all_given(const QStringList &sources);

/// Recognise the directory `source`. With a `scheme` given it need not contain anything; a source that contains
/// "Takeout/Mail" is read from its "Takeout" folder.
[[nodiscard]] maybe_refusal recognise(const QString &source, const QString &scheme, evidence &found);

/// Why `source` is refused when nothing in it can be read.
[[nodiscard]] refusal not_recognised(const QString &source);

/// True when `path` is `directory` or is inside it, links resolved; neither needs to exist yet.
[[nodiscard]] bool lies_inside(const QString &path, const QString &directory);

/// `directory`, ending in "/".
[[nodiscard]] QString with_slash(const QString &directory);
