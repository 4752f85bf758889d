/// Whether evidence is the same before and after a run, and how many rows it should give: found out beside the
/// extraction.
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
    /// `again` is how a file is looked at for the second time: read and hashed, or its identity compared.
    enum class again { hash, identity };
    using when_counted = std::function<void(const expected_rows &)>;

    /// `go_on` is asked for each block, from several threads.
    evidence_check(work_queue &queue, on_block go_on, again how);
    ~evidence_check();
    Q_DISABLE_COPY_MOVE(evidence_check)

    /// Begin to read the files of a source, each once: for its hash, and the separators of an mbox. Then its rows are
    /// counted, databases in copies below `scratch`, and `counted` is called, from any thread.
    void begin(const ready_source &source, const QString &scratch, when_counted counted);

    /// Wait for that, and fill in what was found: sizes, hashes, separators, rows expected. `number` counts from 0, in
    /// the order of `begin`.
    void finish_first_look(std::size_t number, ready_source &source);

    /// The plug-in is done with this file, or with all of a source: look at it again. A second call changes nothing.
    void look_again(const QString &path);
    void look_again(const ready_source &source);

    /// Wait for the second look at everything.
    void finish();

    /// After `finish`: fill in the second hashes; the result is one line for each file that changed.
    [[nodiscard]] QStringList changes_of(ready_source &source) const;

    /// Bytes that are to be read in all, as far as known.
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
