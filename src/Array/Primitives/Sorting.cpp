#include <algorithm>
#include <cmath>

#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/Ipps.h"

namespace IPP {

// NaN has no place in the order of floats, so they are moved behind the numbers before those are sorted.
IppStatus ippsSortAscend_32f_I(Ipp32f* srcDst, int len) {
    if (const IppStatus bad = CheckRange(len, srcDst)) return bad;
    Ipp32f* numbersEnd = std::partition(srcDst, srcDst + len, [](Ipp32f x) { return !std::isnan(x); });
    std::sort(srcDst, numbersEnd);
    return ippStsNoErr;
}

IppStatus ippsSortAscend_32s_I(Ipp32s* srcDst, int len) {
    if (const IppStatus bad = CheckRange(len, srcDst)) return bad;
    std::sort(srcDst, srcDst + len);
    return ippStsNoErr;
}

} // namespace IPP
