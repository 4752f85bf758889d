/// Extractor for macOS sources: accepts its settings and extracts nothing.
#pragma once

#include "extractors/extractor_frame.h"

class gmail_macos : public extractor_frame
{
    Q_OBJECT
    EXTRACTOR_OPERATIONS(macos)

public:
    using extractor_frame::extractor_frame;

    [[nodiscard]] QLatin1StringView os_scheme() const override { return QLatin1StringView("macOS"); }

    /// Only kept, like the other settings; nothing is written.
    void macos_set_destination_location(QString result_dir, QString tmp_dir, QString db_file)
    {
        set_destination_location(result_dir, tmp_dir, db_file);
    }

    /// Kept but not used.
    void macos_set_extended_attributes_list(QStringList attributes);

private:
    void find_source_file() override {}
    void extract_plugin_artifacts() override {}
    void keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info) override;
    void filter_extended_attribute_list() {}

    QStringList system_user_QStringList; ///< names of the source's accounts, each once
    QStringList extended_attributes_QStringList;
};
