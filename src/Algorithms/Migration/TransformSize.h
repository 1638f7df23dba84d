#pragma once

#include <cstdint>

#include "Array/Export.h"

namespace TZM {

/// Order of the smallest power of two that isn't below n: the smallest k with 2^k >= n. 0 for n below 2, 31 above 2^30.
TZM_EXPORT int CeilLog2(int n);

/// An even length from n on, at most an eighth longer, whose transform is fast.
TZM_EXPORT std::int64_t FastLength(std::int64_t n);

} // namespace TZM
