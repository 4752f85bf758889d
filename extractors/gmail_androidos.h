/// Extractor for the data of the Gmail application on Android, below "apps/com.google.android.gm/" of the source:
/// settings, discovery, run order. android/ has the steps and the code that runs them.
///
/// A failure is logged and ends only the step, the mail store or the row it belongs to.
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

    [[nodiscard]] QLatin1StringView os_scheme() const override { return QLatin1StringView("androidOS"); }

    /// The directories for results and for working copies (both end in "/"), and the result database.
    void androidos_set_destination_location(QString result_dir, QString tmp_dir, QString db_file)
    {
        set_destination_location(result_dir, tmp_dir, db_file);
    }

private:
    void find_source_file() override;
    void extract_plugin_artifacts() override;
    void keep_source_info(const struct_GLOBAL_COMMON_TALVO_AND_ARTIFACT_source_info &source_info) override;

    // One function for each step; log lines and connections are named after it.
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
