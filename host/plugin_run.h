/// One run of the plug-in, called as the suite calls it.
#pragma once

#include "host/extract_options.h"
#include "host/refusal.h"
#include "plugin/gmail.h"

#include <QLibrary>
#include <QObject>

#include <atomic>
#include <functional>
#include <memory>

struct evidence;

/// Loads the library and owns its plug-in object.
class plugin_run : public QObject
{
    Q_OBJECT

public:
    using counts = std::function<void(qint64 records, int tabs)>;

    plugin_run();
    ~plugin_run() override;

    /// Load the library at `path`, or the one beside the program when it is empty.
    [[nodiscard]] maybe_refusal load(const QString &path);

    /// The library in use.
    [[nodiscard]] QString library_path() const { return library.fileName(); }

    /// Essentials, records, engine, result directory, tables, emptying, finding, extracting, removing temporaries.
    void run(const extract_options &options, const evidence &source);

    /// Called with the running totals, in the thread that runs the plug-in.
    void on_progress(counts handler) { progress = std::move(handler); }

    /// From any thread.
    void cancel();

private Q_SLOTS:
    void records_changed(qint64 total);
    void tabs_changed(int total);

private:
    counts progress = [](qint64, int) {};
    qint64 records = 0;
    int tabs = 0;
    QLibrary library;
    std::unique_ptr<gmail> plugin;
    std::atomic_bool cancelled = false;
};
