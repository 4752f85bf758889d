/// Treats SIGHUP, SIGINT, SIGQUIT and SIGTERM as requests to end a run cleanly.
#pragma once

#include "host/refusal.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

/// Waits for the signals in a thread of its own. Make one before any other thread exists: it blocks the signals for the
/// whole process. SIGHUP is left alone where the program was started to ignore it (`nohup`). The first signal calls the
/// handler. A run that has not ended shortly after, and a second signal, end the process at once: rows since the last
/// commit are lost then, and no summary is written.
class signal_watch
{
public:
    signal_watch();
    ~signal_watch();
    signal_watch(const signal_watch &) = delete;
    signal_watch &operator=(const signal_watch &) = delete;

    /// Called in the watching thread, at once when a signal has come already.
    void on_signal(std::function<void()> handler);

    /// Called in the watching thread before it ends the process.
    void before_exit(std::function<void()> last_act);

    /// The handlers are no longer called once this returns.
    void forget_handler();

    /// The first signal, or 0 when none has come.
    [[nodiscard]] int received() const { return first_signal; }

    /// The status to end with after a signal.
    [[nodiscard]] exit_status status() const { return exit_status(128 + first_signal); }

private:
    void watch();
    [[noreturn]] void end_process(int signal);

    std::atomic_int first_signal = 0;
    std::mutex handler_mutex;
    std::function<void()> handler;
    std::function<void()> last_act;
    std::thread thread;
};
