/// Extractor for the data of the Gmail application on Android, below "apps/com.google.android.gm/" of the source:
/// settings, discovery, run order. How a step is run, and what each one reads and writes, is in android/.
///
/// Failures are lines of the debug log and end only the step, the store or the row they belong to.
#pragma once

#include "extractors/android/android_source.h"
#include "extractors/extractor_frame.h"

class step_runner;

class gmail_androidos : public extractor_frame
{
    Q_OBJECT
    EXTRACTOR_OPERATIONS(androidos)

public:
    explicit gmail_androidos(QWidget *parent);

    /// The scheme word of the source records it is for.
    [[nodiscard]] QLatin1StringView os_scheme() const override { return QLatin1StringView("androidOS"); }

    /// The directory for results, that for working copies (both end in "/"), and the result database.
    void androidos_set_destination_location(QString result_dir, QString tmp_dir, QString db_file)
    {
        set_destination_location(result_dir, tmp_dir, db_file);
    }

private:
    void find_source_file() override;
    void extract_plugin_artifacts() override;
    void keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info) override;

    // The steps, under the names that log lines and connections carry.
    void extract_gm_mails();
    void extract_gm_other_account_mails();
    void extract_gm_attachments();
    void extract_gm_other_account_attachments();
    void extract_gm_mailboxes();
    void extract_gm_accounts();
    void extract_gm_cookies();
    [[nodiscard]] step_runner runner();

    android_source source;
};
