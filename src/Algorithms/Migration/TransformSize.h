#pragma once

#include "Array/Export.h"

namespace TZM {

/// Order of the smallest power of two that isn't below n: the smallest k with 2^k >= n. 0 for n below 2, 31 above 2^30.
TZM_EXPORT int CeilLog2(int n);

} // namespace TZM
