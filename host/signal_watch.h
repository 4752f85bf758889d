/// SIGINT and SIGTERM as a request to end a run in good order.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

/// Waits for the signals in a thread of its own. Make one before any other thread exists: it blocks the signals for the
/// whole process. The first signal calls the handler, a second one ends the process at once.
class signal_watch
{
public:
    signal_watch();
    ~signal_watch();
    signal_watch(const signal_watch &) = delete;
    signal_watch &operator=(const signal_watch &) = delete;

    /// Called in the watching thread, at once when a signal has come already.
    void on_signal(std::function<void()> handler);

    /// The handler is not called any more when this returns.
    void forget_handler();

    /// SIGINT, SIGTERM, or 0 when none has come.
    [[nodiscard]] int received() const { return first_signal; }

private:
    void watch();

    std::atomic_int first_signal = 0;
    std::mutex handler_mutex;
    std::function<void()> handler;
    std::thread thread;
};
