#include "Formats/LargestAllocation.h"

#include <algorithm>
#include <cstdlib>
#include <new>

std::atomic<std::size_t>& LargestAllocation() {
    static std::atomic<std::size_t> largest = 0;
    return largest;
}

void* operator new(std::size_t bytes) {
    LargestAllocation() = std::max(LargestAllocation().load(), bytes);
    if (void* p = std::malloc(bytes ? bytes : 1)) return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { // of std::stable_sort
    LargestAllocation() = std::max(LargestAllocation().load(), bytes);
    return std::malloc(bytes ? bytes : 1);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
