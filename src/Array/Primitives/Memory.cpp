#include <cstddef>
#include <cstdlib>

#include <sys/mman.h>

#include "Array/Primitives/Ipps.h"

namespace IPP {

namespace {

constexpr std::size_t kCacheLine = 64;
constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kWorthAHugePage = std::size_t{1} << 20;

std::size_t RoundUp(std::size_t bytes, std::size_t unit) { return (bytes + unit - 1) / unit * unit; }

// The first touch of a fresh 4 KiB page can cost 10 us, more than the arithmetic on it, and that of a huge page as much
// as some 30 small ones: areas well above that ask for huge pages.
void* AllocateBytes(std::size_t bytes) {
    if (bytes < kWorthAHugePage) return std::aligned_alloc(kCacheLine, RoundUp(bytes, kCacheLine));
    const std::size_t whole = RoundUp(bytes, kHugePage);
    void* p = std::aligned_alloc(kHugePage, whole);
    if (p) madvise(p, whole, MADV_HUGEPAGE); // advice only: a kernel without huge pages serves small ones
    return p;
}

template <class T>
T* AllocateElements(int len) {
    return len < 1 ? nullptr : static_cast<T*>(AllocateBytes(static_cast<std::size_t>(len) * sizeof(T)));
}

} // namespace

Ipp32f* ippsMalloc_32f(int len) { return AllocateElements<Ipp32f>(len); }

Ipp32s* ippsMalloc_32s(int len) { return AllocateElements<Ipp32s>(len); }

Ipp32fc* ippsMalloc_32fc(int len) { return AllocateElements<Ipp32fc>(len); }

Ipp64f* ippsMalloc_64f(int len) { return AllocateElements<Ipp64f>(len); }

void ippsFree(void* p) { std::free(p); }

} // namespace IPP
