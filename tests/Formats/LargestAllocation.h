#pragma once

#include <atomic>
#include <cstddef>

/// Bytes of the largest piece of memory that operator new was asked for since this was set to 0.
std::atomic<std::size_t>& LargestAllocation();
