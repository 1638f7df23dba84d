#pragma once

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>

#include "Framework/private/LoopWatch.h"
#include "Framework/private/RegionLog.h"

namespace TZM {

/// Keeps the failure of the lowest index of a parallel loop, which is the one that a serial loop would have met.
class EarliestFailure {
public:
    explicit EarliestFailure(int count) : index(count) {}

    /// Runs body(i), unless a lower index has failed already. Nothing is allocated to keep a failure.
    template <class Body>
    void Run(int i, Body& body) noexcept {
        if (i > index.load(std::memory_order_relaxed)) return;
        try {
            body(i);
        } catch (...) {
            const std::lock_guard<std::mutex> lock(mutex);
            if (i >= index.load(std::memory_order_relaxed)) return;
            index.store(i, std::memory_order_relaxed);
            failure = std::current_exception();
        }
    }

    void Rethrow() {
        if (failure) std::rethrow_exception(std::move(failure));
    }

private:
    std::atomic<int> index; ///< lowest failed one; the count as long as there is none
    std::mutex mutex;
    std::exception_ptr failure;
};

/// The one parallel region: makeBody gives each thread a body of its own, and must not throw. The watch of the calling
/// thread, if it has one, hears of every index and may end the loop: Exception::Cancelled.
template <class MakeBody>
void ParallelRegion(int count, const MakeBody& makeBody) {
    EarliestFailure failure(count);
    LoopWatch* const watch = LoopWatch::OfThisThread();
    if (watch) watch->Begin(count);
#pragma omp parallel if (count > 1)
    {
        auto body = makeBody();
#pragma omp for schedule(static)
        for (int i = 0; i < count; ++i) {
            if (watch && watch->IsCancelled()) continue;
            failure.Run(i, body);
            if (watch) watch->CountOne();
        }
    }
    failure.Rethrow();
    if (watch) watch->RequireGoOn();
}

/// Calls body(i) for i = 0 .. count - 1 on the runtime's threads, statically scheduled, and waits for all of them. A
/// failure of the lowest index leaves as the same exception, on any number of threads; indices above it may be left
/// out.
template <class Body>
void ParallelFor(int count, Body&& body) {
    ParallelRegion(count, [&] { return [&](int i) { body(i); }; });
}

/// The same with work data of a thread's own, body(i, work). A thread makes them once, before its first index, and a
/// failure of the maker counts as one of that index. The work data need neither be copied nor moved.
template <class Maker, class Body>
void ParallelFor(int count, Maker&& maker, Body&& body) {
    struct Holder {
        decltype(maker()) work;
    };
    ParallelRegion(count, [&] {
        return [&, holder = std::unique_ptr<Holder>()](int i) mutable {
            if (!holder) holder.reset(new Holder{maker()});
            body(i, holder->work);
        };
    });
}

} // namespace TZM
