#include "host/signal_watch.h"

#include <csignal>
#include <pthread.h>
#include <unistd.h>

namespace {

constexpr int wake_up_signal = SIGUSR1; // ends the thread

sigset_t watched_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, wake_up_signal})
        sigaddset(&signals, number);
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
}

void signal_watch::watch()
{
    const sigset_t signals = watched_signals();
    for (int number = 0; sigwait(&signals, &number) == 0 && number != wake_up_signal;) {
        if (first_signal != 0)
            _exit(128 + number);
        first_signal = number;
        const std::lock_guard lock(handler_mutex);
        if (handler)
            handler();
    }
}
