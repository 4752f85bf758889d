/// Extractor for iOS backups: accepts its settings and extracts nothing.
#pragma once

#include "extractors/extractor_frame.h"

class ios_uid_backup_parser; // the host's; only the pointer is kept

class gmail_ios_uid : public extractor_frame
{
    Q_OBJECT
    EXTRACTOR_OPERATIONS(ios_uid)

public:
    using extractor_frame::extractor_frame;

    [[nodiscard]] QLatin1StringView os_scheme() const override { return QLatin1StringView("iOS_UID"); }

    /// Only kept, like the other settings; nothing is written.
    void ios_uid_set_destination_location(QString result_dir, QString tmp_dir, QString db_file)
    {
        set_destination_location(result_dir, tmp_dir, db_file);
    }

    /// Kept but never called; the host still owns it.
    void ios_uid_set_ios_backup_pointer(ios_uid_backup_parser *backup_parser);

private:
    void find_source_file() override;
    void extract_plugin_artifacts() override {}

    ios_uid_backup_parser *ios_backup_parser_obj = nullptr; ///< owned by the host
};
