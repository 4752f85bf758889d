#include "host/signal_watch.h"

#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <unistd.h>

namespace {

constexpr int wake_up_signal = SIGUSR1;         // ends the thread
constexpr timespec patience = {0, 900'000'000}; // for a run to end cleanly

sigset_t watched_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGQUIT, SIGTERM, wake_up_signal})
        sigaddset(&signals, number);
    struct sigaction hangup = {};
    if (sigaction(SIGHUP, nullptr, &hangup) != 0 || hangup.sa_handler != SIG_IGN)
        sigaddset(&signals, SIGHUP);
    return signals;
}

} // namespace

signal_watch::signal_watch()
{
    const sigset_t signals = watched_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    thread = std::thread([this] { watch(); });
}

signal_watch::~signal_watch()
{
    pthread_kill(thread.native_handle(), wake_up_signal);
    thread.join();
}

void signal_watch::on_signal(std::function<void()> new_handler)
{
    const std::lock_guard lock(handler_mutex);
    handler = std::move(new_handler);
    if (first_signal != 0)
        handler();
}

void signal_watch::forget_handler()
{
    const std::lock_guard lock(handler_mutex);
    handler = nullptr;
    last_act = nullptr;
}

void signal_watch::before_exit(std::function<void()> act)
{
    const std::lock_guard lock(handler_mutex);
    last_act = std::move(act);
}

void signal_watch::end_process(int signal)
{
    const std::lock_guard lock(handler_mutex);
    if (last_act)
        last_act();
    _exit(128 + signal);
}

void signal_watch::watch()
{
    const sigset_t signals = watched_signals();
    while (true) {
        const int number =
            first_signal == 0 ? sigwaitinfo(&signals, nullptr) : sigtimedwait(&signals, nullptr, &patience);
        if (number == wake_up_signal)
            return;
        if (number < 0 && errno == EINTR)
            continue;
        if (first_signal != 0)
            end_process(number < 0 ? first_signal.load() : number);
        first_signal = number;
        const std::lock_guard lock(handler_mutex);
        if (handler)
            handler();
    }
}
