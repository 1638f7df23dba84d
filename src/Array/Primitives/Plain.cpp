#include <cstring>

#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/Ipps.h"
#include "Array/Simd/Dispatch.h"

namespace IPP {

namespace {

template <class T>
IppStatus ZeroElements(T* dst, int len) {
    if (const IppStatus bad = CheckRange(len, dst)) return bad;
    std::memset(dst, 0, static_cast<std::size_t>(len) * sizeof(T));
    return ippStsNoErr;
}

template <class T>
IppStatus CopyElements(const T* src, T* dst, int len) {
    if (const IppStatus bad = CheckRange(len, src, dst)) return bad;
    std::memmove(dst, src, static_cast<std::size_t>(len) * sizeof(T));
    return ippStsNoErr;
}

// An operation of a kernel on one block in place, with the kernel's other arguments in its own order.
template <class Kernel, class T>
IppStatus InPlace(Kernel kernel, T* srcDst, int len) {
    if (const IppStatus bad = CheckRange(len, srcDst)) return bad;
    kernel(srcDst, len);
    return ippStsNoErr;
}

template <class Kernel, class T, class U>
IppStatus OneToOne(Kernel kernel, const T* src, U* dst, int len) {
    if (const IppStatus bad = CheckRange(len, src, dst)) return bad;
    kernel(src, dst, len);
    return ippStsNoErr;
}

template <class Kernel, class V>
IppStatus WithConstant(Kernel kernel, V value, Ipp32f* srcDst, int len) {
    if (const IppStatus bad = CheckRange(len, srcDst)) return bad;
    kernel(value, srcDst, len);
    return ippStsNoErr;
}

} // namespace

IppStatus ippsZero_32f(Ipp32f* dst, int len) { return ZeroElements(dst, len); }

IppStatus ippsZero_32s(Ipp32s* dst, int len) { return ZeroElements(dst, len); }

IppStatus ippsZero_32fc(Ipp32fc* dst, int len) { return ZeroElements(dst, len); }

IppStatus ippsCopy_32f(const Ipp32f* src, Ipp32f* dst, int len) { return CopyElements(src, dst, len); }

IppStatus ippsCopy_32s(const Ipp32s* src, Ipp32s* dst, int len) { return CopyElements(src, dst, len); }

IppStatus ippsCopy_32fc(const Ipp32fc* src, Ipp32fc* dst, int len) { return CopyElements(src, dst, len); }

IppStatus ippsSet_32f(Ipp32f value, Ipp32f* dst, int len) { return WithConstant(Simd::Active().set, value, dst, len); }

IppStatus ippsMul_32f_I(const Ipp32f* src, Ipp32f* srcDst, int len) {
    return OneToOne(Simd::Active().mul, src, srcDst, len);
}

IppStatus ippsMul_32fc_I(const Ipp32fc* src, Ipp32fc* srcDst, int len) {
    return OneToOne(Simd::Active().mulComplex, src, srcDst, len);
}

IppStatus ippsSubC_32f(const Ipp32f* src, Ipp32f value, Ipp32f* dst, int len) {
    if (const IppStatus bad = CheckRange(len, src, dst)) return bad;
    Simd::Active().sub(src, value, dst, len);
    return ippStsNoErr;
}

IppStatus ippsAddC_32f_I(Ipp32f value, Ipp32f* srcDst, int len) {
    return WithConstant(Simd::Active().addC, value, srcDst, len);
}

IppStatus ippsMulC_32f_I(Ipp32f value, Ipp32f* srcDst, int len) {
    return WithConstant(Simd::Active().mulC, static_cast<double>(value), srcDst, len);
}

IppStatus ippsDivC_32f_I(Ipp32f value, Ipp32f* srcDst, int len) {
    if (const IppStatus bad = CheckRange(len, srcDst)) return bad;
    if (value == 0.f) return ippStsDivByZeroErr;
    return WithConstant(Simd::Active().mulC, 1. / value, srcDst, len);
}

IppStatus ippsSqr_32f_I(Ipp32f* srcDst, int len) { return InPlace(Simd::Active().sqr, srcDst, len); }

IppStatus ippsMagnitude_32fc(const Ipp32fc* src, Ipp32f* dst, int len) {
    return OneToOne(Simd::Active().magnitude, src, dst, len);
}

IppStatus ippsConj_32fc_I(Ipp32fc* srcDst, int len) { return InPlace(Simd::Active().conj, srcDst, len); }

IppStatus ippsMaxEvery_32f_I(const Ipp32f* src, Ipp32f* srcDst, int len) {
    return OneToOne(Simd::Active().maxEvery, src, srcDst, len);
}

IppStatus ippsMinEvery_32f_I(const Ipp32f* src, Ipp32f* srcDst, int len) {
    return OneToOne(Simd::Active().minEvery, src, srcDst, len);
}

IppStatus ippsThreshold_GT_32f_I(Ipp32f* srcDst, int len, Ipp32f level) {
    if (const IppStatus bad = CheckRange(len, srcDst)) return bad;
    Simd::Active().thresholdAbove(srcDst, len, level);
    return ippStsNoErr;
}

IppStatus ippsFlip_32f_I(Ipp32f* srcDst, int len) { return InPlace(Simd::Active().flip, srcDst, len); }

} // namespace IPP
