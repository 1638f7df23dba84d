#include "Faults/FailingAllocator.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace FailingAllocator {

std::atomic<long> left{-1}, alive{0};
std::atomic<bool> failed{false}, once{false};

} // namespace FailingAllocator

using namespace FailingAllocator;

namespace {

bool Fails() {
    long now = left.load();
    while (now >= 0 && !left.compare_exchange_weak(now, now > 0 ? now - 1 : once ? -1 : 0)) {
    }
    if (now == 0) failed = true;
    return now == 0;
}

void* Counted(void* p) {
    if (p) ++alive;
    return p;
}

} // namespace

extern "C" void* __real_aligned_alloc(std::size_t alignment, std::size_t bytes);
extern "C" void __real_free(void* p);
extern "C" void* __wrap_aligned_alloc(std::size_t alignment, std::size_t bytes) {
    return Fails() ? nullptr : Counted(__real_aligned_alloc(alignment, bytes));
}
extern "C" void __wrap_free(void* p) {
    if (p) --alive;
    __real_free(p);
}

void* operator new(std::size_t bytes) {
    if (Fails()) throw std::bad_alloc();
    if (void* p = Counted(std::malloc(bytes ? bytes : 1))) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
