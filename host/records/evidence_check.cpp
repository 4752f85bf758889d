#include "host/records/evidence_check.h"

#include "host/records/expectation.h"

#include <QFile>

#include <utility>

namespace {

class digest_consumer : public byte_consumer
{
public:
    explicit digest_consumer(bool counts)
        : digest(true, counts)
    {
    }
    void take(QByteArrayView bytes) override { digest.add(bytes); }

    file_digest digest;
};

QString path_of(const ready_source &source, const source_file &file)
{
    return source.found.root + file.place;
}

} // namespace

/// Each look writes only its own members; the other threads read them after waiting for it.
struct evidence_check::looked_at
{
    QString path;
    bool is_mail = false;
    QString before;
    QString after;
    qint64 size = -1;
    qint64 separators = -1;
    file_identity identity_before;
    file_identity identity_after;
    bool was_readable = false;
    bool has_first_look = false;
    bool has_second_look = false;
};

struct evidence_check::counted_source
{
    explicit counted_source(work_queue &queue)
        : looks(queue)
    {
    }

    ready_source source; ///< a copy, for the counting
    std::vector<looked_at *> read;
    QString scratch;
    when_counted counted;
    std::atomic_int unread = 0;
    work_group looks; ///< last: they write to the members above until they are done
};

evidence_check::evidence_check(work_queue &queue_of_work, on_block still_wanted, again how_again)
    : queue(queue_of_work)
    , go_on(std::move(still_wanted))
    , how(how_again)
    , second_looks(queue_of_work)
{
}

evidence_check::~evidence_check()
{
    second_looks.wait();
    sources.clear(); // waits for the first looks
}

evidence_check::looked_at &evidence_check::file_at(const QString &path)
{
    std::unique_ptr<looked_at> &file = files[path];
    if (!file) {
        file = std::make_unique<looked_at>();
        file->path = path;
        file->identity_before = identity_of(path);
    }
    return *file;
}

void evidence_check::begin(const ready_source &source, const QString &scratch, when_counted counted)
{
    counted_source &of = *sources.emplace_back(std::make_unique<counted_source>(queue));
    of.source = source;
    of.scratch = scratch;
    of.counted = std::move(counted);
    std::vector<looked_at *> unread;
    for (const source_file &file : source.files) {
        looked_at &place = file_at(path_of(source, file));
        place.is_mail = file.place.startsWith(u"Mail/");
        of.read.push_back(&place);
        if (source.staged) { // hashed while it was unpacked
            place.before = file.sha256_before;
            place.size = file.size;
            place.separators = file.separators;
            place.was_readable = true;
        } else {
            unread.push_back(&place);
        }
    }
    for (const given_source &given : source.given) {
        if (given.size < 0)
            continue;
        looked_at &file = file_at(given.path);
        if (given.sha256_before.isEmpty()) {
            unread.push_back(&file);
            continue;
        }
        file.before = given.sha256_before; // made while it was unpacked
        file.identity_before = given.identity;
        file.was_readable = true;
        file.has_first_look = true;
    }
    std::erase_if(unread, [](looked_at *file) { return std::exchange(file->has_first_look, true); });
    of.unread = static_cast<int>(unread.size());
    for (looked_at *file : unread) {
        bytes += qMax<qint64>(0, file->identity_before.size);
        of.looks.add([this, file, &of] { look_first(*file, &of); });
    }
    if (unread.empty())
        of.looks.add([&of] { count(of); });
}

void evidence_check::look_first(looked_at &file, counted_source *of)
{
    digest_consumer wanted(file.is_mail);
    byte_consumer *const consumers[] = {&wanted};
    if (read_file(file.path, consumers, go_on) == pass_end::complete) {
        file.before = wanted.digest.sha256();
        file.size = wanted.digest.size();
        file.separators = file.is_mail ? wanted.digest.separators() : -1;
        file.was_readable = true;
    }
    if (--of->unread == 0 && go_on(0))
        count(*of);
}

/// Called once all files of the source are read.
void evidence_check::count(counted_source &of)
{
    for (qsizetype i = 0; i < of.source.files.size(); ++i)
        of.source.files[i].separators = of.read[static_cast<std::size_t>(i)]->separators;
    {
        static std::mutex one_at_a_time; // databases are counted in one scratch connection
        const std::lock_guard lock(one_at_a_time);
        of.source.expected = rows_expected_of(of.source, of.scratch);
    }
    of.counted(of.source.expected);
}

void evidence_check::finish_first_look(std::size_t number, ready_source &source)
{
    counted_source &of = *sources[number];
    of.looks.wait();
    for (qsizetype i = 0; i < source.files.size(); ++i) {
        const looked_at &seen = *of.read[static_cast<std::size_t>(i)];
        source_file &file = source.files[i];
        if (!seen.was_readable) {
            QFile unreadable(seen.path);
            unreadable.open(QIODevice::ReadOnly);
            source.faults.append(seen.path + QLatin1StringView(": cannot be read (") + unreadable.errorString() + u')');
            continue;
        }
        file.size = seen.size;
        file.separators = seen.separators;
        file.sha256_before = seen.before;
    }
    for (given_source &given : source.given)
        given.sha256_before = given.size >= 0 ? files.at(given.path)->before : QString();
    source.expected = of.source.expected;
}

/// After the extraction the large files go first, before attachments that are waiting.
void evidence_check::begin_second_look(looked_at &file, bool is_urgent)
{
    if (std::exchange(file.has_second_look, true))
        return;
    if (how == again::hash)
        bytes += qMax<qint64>(0, file.identity_before.size);
    const auto look = [this, &file] {
        if (how == again::hash)
            file.after = sha256_of_file(file.path, go_on);
        file.identity_after = identity_of(file.path);
    };
    second_looks.add(look, is_urgent);
}

void evidence_check::look_again(const QString &path)
{
    if (const auto found = files.find(path); found != files.end())
        begin_second_look(*found->second, false);
}

void evidence_check::look_again(const ready_source &source)
{
    for (const source_file &file : source.files)
        begin_second_look(*files.at(path_of(source, file)), true);
}

void evidence_check::finish()
{
    for (const auto &[path, file] : files)
        begin_second_look(*file, true);
    second_looks.wait();
}

QStringList evidence_check::changes_of(ready_source &source) const
{
    QStringList changes;
    const auto compare = [&](const QString &path, QString &after) {
        const looked_at &file = *files.at(path);
        after = file.after;
        // The first hash is made during the extraction: a file that was changed before that has equal hashes.
        const bool was_written_to = file.identity_before.size != file.identity_after.size ||
                                    file.identity_before.modified != file.identity_after.modified;
        const bool is_same = how == again::hash ? file.before == file.after && !was_written_to
                                                : file.identity_before == file.identity_after;
        if (!is_same)
            changes.append(path + QLatin1StringView(": changed during the run"));
    };
    for (source_file &file : source.files)
        compare(path_of(source, file), file.sha256_after);
    for (given_source &given : source.given) {
        if (given.size >= 0)
            compare(given.path, given.sha256_after);
    }
    return changes;
}
