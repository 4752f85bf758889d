/// Extractor for the data of the Android application.
#pragma once

#include "extractors/extractor_frame.h"

class gmail_androidos : public extractor_frame
{
    Q_OBJECT
    EXTRACTOR_OPERATIONS(androidos)

public:
    using extractor_frame::extractor_frame;

    [[nodiscard]] QLatin1StringView os_scheme() const override { return QLatin1StringView("androidOS"); }

    void androidos_set_destination_location(QString result_dir, QString tmp_dir, QString db_file)
    {
        set_destination_location(result_dir, tmp_dir, db_file);
    }

private:
    void find_source_file() override {}
    void extract_plugin_artifacts() override {}
};
