/// Hashes the attachments of a run while it is still writing others.
#pragma once

#include "host/pass/file_pass.h"
#include "host/pass/work_queue.h"

#include <QHash>

#include <array>
#include <atomic>

/// A file of the result.
struct written_file
{
    QString name;
    qint64 size = 0;
    QString sha256; ///< empty when it was not hashed
};

/// Learns from the system which files of a directory were written and closed, and hashes them on the queue. Files that
/// it misses, because there were too many at once, are hashed at the end.
class attachment_hashes
{
public:
    /// The directory need not exist yet. `go_on` is called for each block, from several threads.
    attachment_hashes(QString directory, work_queue &queue, on_block go_on);
    ~attachment_hashes();
    Q_DISABLE_COPY_MOVE(attachment_hashes)

    /// All files are written: begin to hash those of `names` that were not hashed, or have changed since.
    void begin_rest(const QStringList &names);

    /// Wait for that.
    void finish() { group.wait(); }

    /// After `finish`: the size and the hash of a file, which is empty when `go_on` ended the hashing.
    [[nodiscard]] written_file file(const QString &name);

    /// Bytes that were left for `begin_rest` to read.
    [[nodiscard]] qint64 bytes_of_rest() const { return rest; }

private:
    struct hashed
    {
        qint64 size = -1;
        qint64 modified = -1;
        std::array<char, 32> digest = {};
    };

    void listen();
    void hear(int descriptor);
    void hash(const QString &name);
    [[nodiscard]] bool is_current(const QString &name, const file_identity &now);

    QString directory; ///< ends in "/"
    work_queue &queue;
    on_block go_on;
    qint64 rest = 0;
    std::mutex mutex; ///< of `done`
    QHash<QString, hashed> done;
    std::atomic<qsizetype> waiting = 0; ///< files that are on the queue
    std::atomic_bool is_over = false;
    std::thread listener;
    work_group group; ///< last: the work writes to the members above until it is done
};
