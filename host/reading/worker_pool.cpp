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

constexpr std::size_t max_jobs = 64; // of one process: it must not wait while rows are inserted
// Requests that wait in a pipe; with one more they fit into the smallest pipe that the system makes.
constexpr qsizetype max_waiting_bytes = 2048;
constexpr qsizetype bytes_at_a_time = 256 * 1024;
constexpr qint64 max_answer_bytes = qint64(2) * 1024 * 1024 * 1024; // more than all limits of a mail together
constexpr int pipe_bytes = 1024 * 1024;
constexpr char program[] = "/proc/self/exe";

} // namespace

struct worker_pool::process
{
    struct given_job
    {
        mail_job job;
        qsizetype request_bytes;
    };

    QString spool;
    pid_t id = 0;
    int requests = -1; ///< written to
    int answers = -1;  ///< read from
    bool has_started = false;
    std::deque<given_job> jobs;  ///< given and not answered; the first is being worked on
    qsizetype waiting_bytes = 0; ///< of their requests
    QByteArray path;             ///< of the last request
    QElapsedTimer at_work;       ///< on the first job
    QByteArray received;         ///< answers, the last one perhaps incomplete
    qsizetype filled = 0;        ///< bytes of `received` in use

    ~process() { end(); }

    [[nodiscard]] bool has_room() const { return jobs.size() < max_jobs && waiting_bytes <= max_waiting_bytes; }

    void forget_first_job()
    {
        waiting_bytes -= jobs.front().request_bytes;
        jobs.pop_front();
    }

    /// Its exit status or signal.
    int end()
    {
        for (int *file : {&requests, &answers}) {
            if (*file >= 0)
                ::close(*file);
            *file = -1;
        }
        int status = 0;
        if (id > 0) {
            ::kill(id, SIGKILL); // no effect if it has ended
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

bool worker_pool::has_room(bool of_first) const
{
    return std::any_of(processes.begin(), of_first ? processes.begin() + 1 : processes.end(),
                       [](const auto &worker) { return worker->has_room(); });
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
    worker.path.clear();
    worker.filled = 0;
    worker.at_work.start();
    if (error != 0) {
        worker.id = 0;
        why_failed =
            QStringLiteral("a reading process could not be started: ") + QString::fromLocal8Bit(std::strerror(error));
    }
    worker.waiting_bytes = 0;
    for (process::given_job &each : worker.jobs)
        worker.waiting_bytes += each.request_bytes = send(worker, each.job);
}

/// The bytes that were sent.
qsizetype worker_pool::send(process &worker, const mail_job &job)
{
    const bool same_path = worker.path == job.path;
    const worker_request request = {job.offset, job.length, job.is_followed,
                                    same_path ? 0 : static_cast<qint32>(job.path.size())};
    worker.path = job.path;
    QByteArray bytes(reinterpret_cast<const char *>(&request), sizeof request);
    if (!same_path)
        bytes += job.path;
    // If it has died, its answers will show that.
    [[maybe_unused]] const ssize_t written =
        ::write(worker.requests, bytes.constData(), static_cast<std::size_t>(bytes.size()));
    return bytes.size();
}

void worker_pool::give(mail_job job, bool to_first)
{
    const auto is_emptier = [](const auto &one, const auto &other) {
        return std::pair(!one->has_room(), one->jobs.size()) < std::pair(!other->has_room(), other->jobs.size());
    };
    const auto emptiest =
        std::min_element(processes.begin(), to_first ? processes.begin() + 1 : processes.end(), is_emptier);
    process &worker = **emptiest;
    if (worker.jobs.empty())
        worker.at_work.start();
    worker.jobs.push_back({std::move(job), 0});
    if (worker.id == 0)
        start(worker);
    else
        worker.waiting_bytes += worker.jobs.back().request_bytes = send(worker, worker.jobs.back().job);
}

void worker_pool::give_up_first(process &worker, const QByteArray &why, std::vector<parsed_mail> &answers)
{
    worker.end();
    answers.push_back({worker.jobs.front().job.number, {}, why});
    worker.forget_first_job();
    if (!worker.jobs.empty())
        start(worker);
}

/// Take the complete answers. False when a worker sends anything else.
bool worker_pool::take_answers(process &worker, std::vector<parsed_mail> &answers)
{
    qsizetype at = 0;
    qsizetype expected = bytes_at_a_time;
    while (worker.filled - at >= qsizetype(sizeof(qint64))) {
        qint64 size = 0;
        std::memcpy(&size, worker.received.constData() + at, sizeof size);
        if (size < 0 || size > max_answer_bytes || (worker.has_started && worker.jobs.empty()))
            return false;
        const qsizetype end = at + qsizetype(sizeof size) + size;
        if (end > worker.filled) {
            expected = std::max(expected, end - worker.filled);
            break;
        }
        if (worker.has_started) {
            parsed_mail answer = {worker.jobs.front().job.number, {}, {}};
            if (!from_bytes(QByteArray::fromRawData(worker.received.constData() + end - size, size), answer.record))
                return false;
            answers.push_back(std::move(answer));
            worker.forget_first_job();
            worker.at_work.start();
        }
        worker.has_started = true;
        at = end;
    }
    worker.filled -= at;
    std::memmove(worker.received.data(), worker.received.constData() + at, static_cast<std::size_t>(worker.filled));
    if (worker.filled == 0 && worker.received.capacity() > 4 * bytes_at_a_time)
        worker.received = {}; // give back the memory of a giant mail
    worker.received.resize(worker.filled + expected);
    return true;
}

void worker_pool::receive(process &worker, std::vector<parsed_mail> &answers)
{
    while (take_answers(worker, answers)) {
        const ssize_t count = ::read(worker.answers, worker.received.data() + worker.filled,
                                     static_cast<std::size_t>(worker.received.size() - worker.filled));
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (count <= 0)
            break;
        worker.filled += count;
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
    const qint64 allowed = allowed_milliseconds + worker.jobs.front().job.length / mail_bytes_per_millisecond;
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
    files.reserve(processes.size());
    for (const auto &worker : processes)
        files.push_back({worker->answers, POLLIN, 0}); // poll ignores -1
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
