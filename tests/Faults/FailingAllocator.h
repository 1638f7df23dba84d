#pragma once

#include <atomic>

/// Stands for operator new and for the allocator of arrays in a program that is linked with `free` and `aligned_alloc`
/// wrapped.
namespace FailingAllocator {

extern std::atomic<long> left;   ///< so many allocations succeed while it isn't negative; then one fails, or all do
extern std::atomic<bool> once;   ///< only one
extern std::atomic<bool> failed; ///< one has
extern std::atomic<long> alive;  ///< allocations that weren't freed

} // namespace FailingAllocator
