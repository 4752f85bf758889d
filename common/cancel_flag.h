/// The flag that ends a run early.
#pragma once

#include <QtGlobal>

#include <atomic>

/// Set by one thread, polled by another. It is handed on by reference only: a copy, or a bool made of it, would not see
/// a cancel that comes later, so neither compiles.
class cancel_flag
{
public:
    cancel_flag() = default;
    Q_DISABLE_COPY_MOVE(cancel_flag)

    /// From any thread.
    void set(bool cancelled) { flag = cancelled; }
    [[nodiscard]] bool is_set() const { return flag; }

private:
    std::atomic_bool flag = false;
};
