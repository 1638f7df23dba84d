#include "Framework/private/LoopWatch.h"

#include <utility>

#include "Framework/Cancelled.h"

namespace TZM {

namespace {

thread_local LoopWatch* current = nullptr;

} // namespace

LoopWatch::LoopWatch(std::function<bool(double)> function)
    : tell(std::move(function)), thread(std::this_thread::get_id()), outer(current) {
    current = this;
}

LoopWatch::~LoopWatch() { current = outer; }

LoopWatch* LoopWatch::OfThisThread() { return current; }

void LoopWatch::Begin(int indices) {
    RequireGoOn();
    count = indices;
    done = 0;
}

void LoopWatch::CountOne() {
    const int behind = done.fetch_add(1, std::memory_order_relaxed) + 1;
    if (std::this_thread::get_id() != thread || IsCancelled()) return;
    if (!tell(static_cast<double>(behind) / count)) cancelled.store(true, std::memory_order_relaxed);
}

void LoopWatch::RequireGoOn() const {
    if (IsCancelled()) throw Exception::Cancelled();
}

} // namespace TZM
