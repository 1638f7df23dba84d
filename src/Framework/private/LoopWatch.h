#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "Array/Export.h"

namespace TZM {

/// While it lives, hears of the parallel loops that its thread runs, and may end them. At most one lives per thread; an
/// inner one hides an outer one.
class TZM_EXPORT LoopWatch {
public:
    /// \param tell is called from the watching thread alone, behind each index of a loop that this thread does, with the
    /// share of the loop that all threads have done, 0 to 1. False ends the loop, and every later one, with
    /// Exception::Cancelled. It must not throw.
    explicit LoopWatch(std::function<bool(double share)> tell);
    ~LoopWatch();
    LoopWatch(const LoopWatch&) = delete;
    LoopWatch& operator=(const LoopWatch&) = delete;

    /// Null if there is none.
    static LoopWatch* OfThisThread();

    // Of the loop.
    void Begin(int count);
    bool IsCancelled() const { return cancelled.load(std::memory_order_relaxed); }
    void CountOne(); ///< from any thread, behind an index
    void RequireGoOn() const;

private:
    const std::function<bool(double)> tell;
    const std::thread::id thread;
    LoopWatch* const outer;
    int count = 0;
    std::atomic<int> done{0};
    std::atomic<bool> cancelled{false};
};

} // namespace TZM
