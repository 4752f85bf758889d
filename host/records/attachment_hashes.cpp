#include "host/records/attachment_hashes.h"

#include <QFile>

#include <algorithm>

#include <chrono>

#include <sys/inotify.h>
#include <unistd.h>

namespace {

constexpr qsizetype max_waiting = 10'000; // any more are hashed at the end
constexpr qsizetype names_at_a_time = 64;
constexpr std::chrono::milliseconds between_looks(10); // being woken for each file would cost the extraction more

} // namespace

attachment_hashes::attachment_hashes(QString place, work_queue &queue_of_work, on_block still_wanted)
    : directory(std::move(place))
    , queue(queue_of_work)
    , go_on(std::move(still_wanted))
    , group(queue_of_work)
{
    if (!queue.works_in_turn())
        listener = std::thread([this] { listen(); });
}

attachment_hashes::~attachment_hashes()
{
    is_over = true;
    if (listener.joinable())
        listener.join();
    group.wait();
}

void attachment_hashes::listen()
{
    const int descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (descriptor < 0)
        return;
    bool watches = false;
    while (!is_over) {
        if (!watches)
            watches = inotify_add_watch(descriptor, QFile::encodeName(directory).constData(), IN_CLOSE_WRITE) >= 0;
        std::this_thread::sleep_for(between_looks);
        hear(descriptor);
    }
    ::close(descriptor);
}

void attachment_hashes::hear(int descriptor)
{
    alignas(inotify_event) char events[64 * 1024];
    QStringList names;
    for (ssize_t size = 0; (size = ::read(descriptor, events, sizeof events)) > 0;) {
        for (ssize_t at = 0; at < size;) {
            const auto *event = reinterpret_cast<const inotify_event *>(events + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if (event->len > 0 && waiting + names.size() < max_waiting)
                names.append(QFile::decodeName(event->name));
        }
    }
    for (; !names.isEmpty(); names = names.sliced(qMin(names.size(), names_at_a_time))) {
        const QStringList some = names.first(qMin(names.size(), names_at_a_time));
        waiting += some.size();
        group.add([this, some] {
            for (const QString &name : some)
                hash(name);
            waiting -= some.size();
        });
    }
}

void attachment_hashes::hash(const QString &name)
{
    const QString path = directory + name;
    const file_identity before = identity_of(path);
    const QByteArray digest = QByteArray::fromHex(sha256_of_file(path, go_on).toLatin1());
    hashed result = {before.size, before.modified, {}};
    if (digest.size() != static_cast<qsizetype>(result.digest.size()))
        return;
    std::copy(digest.begin(), digest.end(), result.digest.begin());
    const std::lock_guard lock(mutex);
    done.insert(name, result);
}

bool attachment_hashes::is_current(const QString &name, const file_identity &now)
{
    const std::lock_guard lock(mutex);
    const auto found = done.constFind(name);
    return found != done.cend() && found->size == now.size && found->modified == now.modified;
}

void attachment_hashes::begin_rest(const QStringList &names)
{
    is_over = true;
    if (listener.joinable())
        listener.join();
    group.wait(); // the last files may still be hashed in an earlier state
    for (const QString &name : names) {
        const file_identity now = identity_of(directory + name);
        if (is_current(name, now))
            continue;
        rest += qMax<qint64>(0, now.size);
        group.add([this, name] { hash(name); });
    }
}

written_file attachment_hashes::file(const QString &name)
{
    const file_identity now = identity_of(directory + name);
    written_file file = {QLatin1StringView("Attachments/") + name, qMax<qint64>(0, now.size), {}};
    if (is_current(name, now)) {
        const std::array<char, 32> &digest = done[name].digest;
        file.sha256 = QString::fromLatin1(QByteArray(digest.data(), static_cast<qsizetype>(digest.size())).toHex());
    }
    return file;
}
