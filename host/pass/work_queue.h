/// Work done on a few threads during the extraction.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/// Pieces of work, begun in the order in which they are added. `threads` - 1 threads take them at any time; a thread
/// that waits for a group takes them, too. So with one thread the one that waits does everything in turn.
class work_queue
{
public:
    explicit work_queue(int threads);
    /// Waits for work in progress; work that was not begun is dropped.
    ~work_queue();
    work_queue(const work_queue &) = delete;
    work_queue &operator=(const work_queue &) = delete;

    /// True when nothing is done until somebody waits for it.
    [[nodiscard]] bool works_in_turn() const { return workers.empty(); }

private:
    friend class work_group;
    using piece = std::function<void()>;

    void add(piece work, bool is_urgent);
    void work_until(const std::function<bool()> &is_enough);

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<piece> waiting;
    bool is_over = false;
    std::vector<std::thread> workers;
};

/// Pieces of work that are waited for together. Their results may be read after `wait`.
class work_group
{
public:
    explicit work_group(work_queue &queue_of_work)
        : queue(queue_of_work)
    {
    }
    /// Waits.
    ~work_group() { wait(); }
    work_group(const work_group &) = delete;
    work_group &operator=(const work_group &) = delete;

    /// `work` may add to the group itself. Urgent work is begun before work that is already waiting.
    void add(std::function<void()> work, bool is_urgent = false);

    /// Work along until all of the group is done.
    void wait();

private:
    work_queue &queue;
    int unfinished = 0; ///< guarded by the queue's mutex
};
