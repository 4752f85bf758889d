/// Checks during the extraction whether evidence stays the same, and counts the rows that it should give.
#pragma once

#include "host/pass/file_pass.h"
#include "host/pass/work_queue.h"
#include "host/sources/ready_source.h"

#include <atomic>
#include <map>
#include <memory>

class evidence_check
{
public:
    /// How a file is checked the second time: read and hashed, or by comparing its identity.
    enum class again { hash, identity };
    using when_counted = std::function<void(const expected_rows &)>;

    /// `go_on` is called for each block, from several threads.
    evidence_check(work_queue &queue, on_block go_on, again how);
    ~evidence_check();
    Q_DISABLE_COPY_MOVE(evidence_check)

    /// Begin to read the files of a source, each once: for its hash, and the separators of an mbox. Then its rows are
    /// counted, databases in copies below `scratch`, and `counted` is called, from any thread.
    void begin(const ready_source &source, const QString &scratch, when_counted counted);

    /// Wait for that, and fill in the findings: sizes, hashes, separators, rows expected. `number` counts from 0, in
    /// the order of `begin`.
    void finish_first_look(std::size_t number, ready_source &source);

    /// Look at this file, or at all of a source, again: the plug-in is done with it. A second call changes nothing.
    void look_again(const QString &path);
    void look_again(const ready_source &source);

    /// Wait for the second look at everything.
    void finish();

    /// After `finish`: fill in the second hashes; the result is one line for each file that changed.
    [[nodiscard]] QStringList changes_of(ready_source &source) const;

    /// Bytes to read in all, as far as known.
    [[nodiscard]] qint64 bytes_in_all() const { return bytes; }

private:
    struct looked_at;
    struct counted_source;

    looked_at &file_at(const QString &path);
    void begin_second_look(looked_at &file, bool is_urgent);
    void look_first(looked_at &file, counted_source *of);
    static void count(counted_source &source);

    work_queue &queue;
    on_block go_on;
    again how;
    qint64 bytes = 0;
    std::map<QString, std::unique_ptr<looked_at>> files;
    std::vector<std::unique_ptr<counted_source>> sources;
    work_group second_looks; ///< last: they write to the members above until they are done
};
