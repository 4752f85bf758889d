/// Extractor for Windows sources: accepts its settings and extracts nothing.
#pragma once

#include "extractors/extractor_frame.h"

class gmail_winos : public extractor_frame
{
    Q_OBJECT
    EXTRACTOR_OPERATIONS(winos)

public:
    using extractor_frame::extractor_frame;

    [[nodiscard]] QLatin1StringView os_scheme() const override { return QLatin1StringView("winOS"); }

    /// Only kept, like the other settings; nothing is written.
    void winos_set_destination_location(QString result_dir, QString tmp_dir, QString db_file)
    {
        set_destination_location(result_dir, tmp_dir, db_file);
    }

private:
    void find_source_file() override;
    void extract_plugin_artifacts() override;
    void keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info) override;

    QStringList user_QStringList; ///< user and domain names of the source's accounts, each once
};
