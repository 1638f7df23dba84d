#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/Ipps.h"
#include "Array/Simd/Dispatch.h"

namespace IPP {

IppStatus ippsMinMax_32f(const Ipp32f* src, int len, Ipp32f* min, Ipp32f* max) {
    if (const IppStatus bad = CheckRange(len, src, min, max)) return bad;
    Simd::Active().minMax(src, len, min, max);
    return ippStsNoErr;
}

IppStatus ippsMax_32f(const Ipp32f* src, int len, Ipp32f* max) {
    Ipp32f min;
    return ippsMinMax_32f(src, len, &min, max);
}

IppStatus ippsMin_32f(const Ipp32f* src, int len, Ipp32f* min) {
    Ipp32f max;
    return ippsMinMax_32f(src, len, min, &max);
}

IppStatus ippsMax_32s(const Ipp32s* src, int len, Ipp32s* max) {
    if (const IppStatus bad = CheckRange(len, src, max)) return bad;
    *max = Simd::Active().maxInt(src, len);
    return ippStsNoErr;
}

IppStatus ippsSum_32f(const Ipp32f* src, int len, Ipp32f* sum, IppHintAlgorithm) {
    if (const IppStatus bad = CheckRange(len, src, sum)) return bad;
    *sum = static_cast<Ipp32f>(Simd::Active().sum(src, len));
    return ippStsNoErr;
}

IppStatus ippsMean_32f(const Ipp32f* src, int len, Ipp32f* mean, IppHintAlgorithm) {
    if (const IppStatus bad = CheckRange(len, src, mean)) return bad;
    *mean = static_cast<Ipp32f>(Simd::Active().sum(src, len) / len);
    return ippStsNoErr;
}

} // namespace IPP
