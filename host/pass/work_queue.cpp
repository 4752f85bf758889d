#include "host/pass/work_queue.h"

work_queue::work_queue(int threads)
{
    for (int i = 1; i < threads; ++i)
        workers.emplace_back([this] { work_until([this] { return is_over; }); });
}

work_queue::~work_queue()
{
    {
        const std::lock_guard lock(mutex);
        is_over = true;
        waiting.clear();
    }
    changed.notify_all();
    for (std::thread &worker : workers)
        worker.join();
}

void work_queue::add(piece work, bool is_urgent)
{
    if (is_urgent)
        waiting.push_front(std::move(work));
    else
        waiting.push_back(std::move(work));
    changed.notify_all();
}

/// `is_enough` is called while the mutex is held.
void work_queue::work_until(const std::function<bool()> &is_enough)
{
    std::unique_lock lock(mutex);
    while (!is_enough()) {
        if (waiting.empty()) {
            changed.wait(lock);
            continue;
        }
        const piece work = std::move(waiting.front());
        waiting.pop_front();
        lock.unlock();
        work();
        lock.lock();
    }
}

void work_group::add(std::function<void()> work, bool is_urgent)
{
    const std::lock_guard lock(queue.mutex);
    ++unfinished;
    queue.add(
        [this, work = std::move(work)] {
            work();
            const std::lock_guard done(queue.mutex);
            --unfinished;
            queue.changed.notify_all();
        },
        is_urgent);
}

void work_group::wait()
{
    queue.work_until([this] { return unfinished == 0; });
}
