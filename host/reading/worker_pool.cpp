#include "host/reading/worker_pool.h"

#include "host/reading/record_stream.h"
#include "host/reading/worker.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::size_t max_jobs = 8; // of one process; their requests fit into a pipe
constexpr int pipe_bytes = 1024 * 1024;
constexpr char program[] = "/proc/self/exe";

} // namespace

struct worker_pool::process
{
    QString spool;
    pid_t id = 0;
    int requests = -1; ///< written to
    int answers = -1;  ///< read from
    bool has_started = false;
    std::deque<mail_job> jobs; ///< given and not answered, the one that is worked on first
    QElapsedTimer at_work;     ///< on the first
    QByteArray received;       ///< of an answer: its size, then all of it
    qsizetype filled = 0;
    bool size_known = false;

    ~process() { end(); }

    void expect(qsizetype size, bool is_answer)
    {
        received = QByteArray(size, Qt::Uninitialized);
        filled = 0;
        size_known = is_answer;
    }

    /// How it ended.
    int end()
    {
        for (int *file : {&requests, &answers}) {
            if (*file >= 0)
                ::close(*file);
            *file = -1;
        }
        int status = 0;
        if (id > 0) {
            ::kill(id, SIGKILL); // of no effect on one that has ended
            while (::waitpid(id, &status, 0) < 0 && errno == EINTR) {}
        }
        id = 0;
        has_started = false;
        return status;
    }
};

worker_pool::worker_pool(int count, const QString &spool, qint64 milliseconds)
    : allowed_milliseconds(milliseconds)
{
    for (int i = 0; i < count; ++i) {
        processes.push_back(std::make_unique<process>());
        processes.back()->spool = spool + QString::number(i);
    }
}

worker_pool::~worker_pool() = default;

bool worker_pool::has_room() const
{
    return std::any_of(processes.begin(), processes.end(),
                       [](const auto &worker) { return worker->jobs.size() < max_jobs; });
}

void worker_pool::start(process &worker)
{
    int requests[2] = {-1, -1}, answers[2] = {-1, -1};
    if (::pipe2(requests, O_CLOEXEC) != 0 || ::pipe2(answers, O_CLOEXEC) != 0 || !QDir().mkpath(worker.spool)) {
        why_failed =
            QStringLiteral("a reading process could not be started: ") + QString::fromLocal8Bit(std::strerror(errno));
        return;
    }
    ::fcntl(answers[0], F_SETPIPE_SZ, pipe_bytes);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, requests[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, answers[1], STDOUT_FILENO);
    QByteArray name("gmail_host"), command("read-worker"), spool = QFile::encodeName(worker.spool);
    char *arguments[] = {name.data(), command.data(), spool.data(), nullptr};
    const int error = posix_spawn(&worker.id, program, &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(requests[0]);
    ::close(answers[1]);
    worker.requests = requests[1];
    worker.answers = answers[0];
    ::fcntl(worker.answers, F_SETFL, O_NONBLOCK);
    worker.expect(sizeof(qint64), false);
    worker.at_work.start();
    if (error != 0) {
        worker.id = 0;
        why_failed =
            QStringLiteral("a reading process could not be started: ") + QString::fromLocal8Bit(std::strerror(error));
    }
    for (const mail_job &job : worker.jobs)
        send(worker, job);
}

void worker_pool::send(process &worker, const mail_job &job)
{
    const worker_request request = {job.offset, job.length, job.is_followed, static_cast<qint32>(job.path.size())};
    const QByteArray bytes = QByteArray(reinterpret_cast<const char *>(&request), sizeof request) + job.path;
    // One that has died is noticed by its answers.
    [[maybe_unused]] const ssize_t written =
        ::write(worker.requests, bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

void worker_pool::give(mail_job job)
{
    process &worker = **std::min_element(processes.begin(), processes.end(), [](const auto &one, const auto &other) {
        return one->jobs.size() < other->jobs.size();
    });
    if (worker.jobs.empty())
        worker.at_work.start();
    worker.jobs.push_back(std::move(job));
    if (worker.id == 0)
        start(worker);
    else
        send(worker, worker.jobs.back());
}

void worker_pool::give_up_first(process &worker, const QByteArray &why, std::vector<parsed_mail> &answers)
{
    worker.end();
    answers.push_back({worker.jobs.front().number, {}, why});
    worker.jobs.pop_front();
    if (!worker.jobs.empty())
        start(worker);
}

/// What is received is complete: a size, or an answer.
bool worker_pool::take_answer(process &worker, std::vector<parsed_mail> &answers)
{
    if (!worker.size_known) {
        qint64 size = 0;
        std::memcpy(&size, worker.received.constData(), sizeof size);
        if (size == 0 && !worker.has_started)
            worker.has_started = true;
        worker.expect(size > 0 ? size : qsizetype(sizeof size), size > 0);
        return size >= 0;
    }
    if (worker.jobs.empty())
        return false;
    parsed_mail answer = {worker.jobs.front().number, {}, {}};
    if (!from_bytes(worker.received, answer.record))
        return false;
    answers.push_back(std::move(answer));
    worker.jobs.pop_front();
    worker.expect(sizeof(qint64), false);
    worker.at_work.start();
    return true;
}

void worker_pool::receive(process &worker, std::vector<parsed_mail> &answers)
{
    while (true) {
        const ssize_t count = ::read(worker.answers, worker.received.data() + worker.filled,
                                     static_cast<std::size_t>(worker.received.size() - worker.filled));
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (count <= 0)
            break;
        worker.filled += count;
        if (worker.filled == worker.received.size() && !take_answer(worker, answers))
            break;
    }
    const bool had_started = worker.has_started;
    const int status = worker.end();
    if (!had_started) {
        why_failed = QStringLiteral("the reading process ended while it was starting");
    } else if (!worker.jobs.empty()) {
        const bool no_memory = WIFEXITED(status) && WEXITSTATUS(status) == worker_out_of_memory;
        const bool aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
        give_up_first(worker,
                      no_memory || aborted ? QByteArray("Reading this mail needed too much memory; it was given up.")
                                           : QByteArray("The reading process ended while it read this mail."),
                      answers);
    }
}

void worker_pool::end_stalled(process &worker, std::vector<parsed_mail> &answers)
{
    if (worker.jobs.empty())
        return;
    const qint64 allowed = allowed_milliseconds + worker.jobs.front().length / mail_bytes_per_millisecond;
    if (worker.at_work.elapsed() > allowed)
        give_up_first(worker,
                      "Reading this mail took longer than " + QByteArray::number(allowed / 1000) +
                          " seconds; it was given up.",
                      answers);
}

std::vector<parsed_mail> worker_pool::collect(int milliseconds)
{
    std::vector<parsed_mail> answers;
    std::vector<pollfd> files;
    for (const auto &worker : processes)
        files.push_back({worker->answers, POLLIN, 0}); // -1 is passed over
    if (::poll(files.data(), files.size(), milliseconds) < 0)
        return answers;
    for (std::size_t i = 0; i < files.size() && why_failed.isEmpty(); ++i) {
        process &worker = *processes.at(i);
        if (files.at(i).revents != 0)
            receive(worker, answers);
        else
            end_stalled(worker, answers);
    }
    return answers;
}
