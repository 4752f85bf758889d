#include "extractors/rows/texts.h"

#include "common/plugin_static_function.h"

QString never_null(const QString &text)
{
    return text.isNull() ? QStringLiteral("") : text;
}

QString path_below(const QString &root, const QString &path)
{
    const QString below = path.startsWith(root) ? path.sliced(root.size()) : path;
    return plugin_static_function::get_relative_file_path(below, QString(), QString());
}

QString source_file_value(const QString &root, const QString &path, const QString &path_kind)
{
    return never_null(
        plugin_static_function::get_final_artifact_source_file(path_below(root, path), QString(), path_kind).first);
}
