#pragma once

#include "Array/IppException.h"
#include "Array/Primitives/Ippi.h"
#include "Array/Primitives/Ipps.h"

/// One thin function per primitive, with the primitive's arguments, that turns a status other than 0, warnings
/// included, into IPP::Exception with the primitive's name. A constant comes after the pointer; a threshold level goes
/// by pointer.

namespace IPP::Checked {

inline void Check(IppStatus status, const char* message) {
    if (status != ippStsNoErr) throw Exception(status, message);
}

/// The wrapper of a primitive with the primitive's own arguments.
#define TZM_CHECKED(primitive)                                                                                         \
    template <class... Arguments>                                                                                      \
    inline void primitive(Arguments... arguments) {                                                                    \
        Check(IPP::primitive(arguments...), "IPP::Exception::" #primitive);                                            \
    }                                                                                                                  \
    static_assert(true)

TZM_CHECKED(ippsZero_32f);
TZM_CHECKED(ippsZero_32s);
TZM_CHECKED(ippsZero_32fc);
TZM_CHECKED(ippsCopy_32f);
TZM_CHECKED(ippsCopy_32s);
TZM_CHECKED(ippsCopy_32fc);
TZM_CHECKED(ippsMul_32f_I);
TZM_CHECKED(ippsMul_32fc_I);
TZM_CHECKED(ippsSqr_32f_I);
TZM_CHECKED(ippsMagnitude_32fc);
TZM_CHECKED(ippsConj_32fc_I);
TZM_CHECKED(ippsMaxEvery_32f_I);
TZM_CHECKED(ippsMinEvery_32f_I);
TZM_CHECKED(ippsFlip_32f_I);
TZM_CHECKED(ippsMax_32f);
TZM_CHECKED(ippsMax_32s);
TZM_CHECKED(ippsMin_32f);
TZM_CHECKED(ippsMinMax_32f);
TZM_CHECKED(ippsMean_32f);
TZM_CHECKED(ippsSum_32f);
TZM_CHECKED(ippsSortAscend_32f_I);
TZM_CHECKED(ippsSortAscend_32s_I);
TZM_CHECKED(ippsConv_32f);
TZM_CHECKED(ippsIIRGenLowpass_64f);
TZM_CHECKED(ippsIIRGenHighpass_64f);
TZM_CHECKED(ippsWinHamming_32f_I);
TZM_CHECKED(ippsWinHann_32f_I);
TZM_CHECKED(ippsWinBartlett_32f_I);
TZM_CHECKED(ippsWinBlackman_32f_I);
TZM_CHECKED(ippsWinKaiser_32f_I);
TZM_CHECKED(ippsFFTInv_CToC_32fc);
TZM_CHECKED(ippiDFTFwd_CToC_32fc_C1R);
TZM_CHECKED(ippiFFTFwd_CToC_32fc_C1R);
TZM_CHECKED(ippiFFTFwd_CToC_32fc_C1IR);
TZM_CHECKED(ippiFFTInv_CToC_32fc_C1IR);

#undef TZM_CHECKED

inline void ippsSet_32f(Ipp32f* dst, Ipp32f value, int len) {
    Check(IPP::ippsSet_32f(value, dst, len), "IPP::Exception::ippsSet_32f");
}

inline void ippsSubC_32f(const Ipp32f* src, Ipp32f* dst, Ipp32f value, int len) {
    Check(IPP::ippsSubC_32f(src, value, dst, len), "IPP::Exception::ippsSubC_32f");
}

inline void ippsAddC_32f_I(Ipp32f* srcDst, Ipp32f value, int len) {
    Check(IPP::ippsAddC_32f_I(value, srcDst, len), "IPP::Exception::ippsAddC_32f_I");
}

inline void ippsMulC_32f_I(Ipp32f* srcDst, Ipp32f value, int len) {
    Check(IPP::ippsMulC_32f_I(value, srcDst, len), "IPP::Exception::ippsMulC_32f_I");
}

inline void ippsDivC_32f_I(Ipp32f* srcDst, Ipp32f value, int len) {
    Check(IPP::ippsDivC_32f_I(value, srcDst, len), "IPP::Exception::ippsDivC_32f_I");
}

inline void ippsThreshold_GT_32f_I(Ipp32f* srcDst, int len, const Ipp32f* level) {
    Check(IPP::ippsThreshold_GT_32f_I(srcDst, len, *level), "IPP::Exception::ippsThreshold_GT_32f_I");
}

/// The largest magnitude that a range-checked transform accepts: a thousandth of the largest float (bits 0x7A83126E).
constexpr Ipp32f kTransformRange = 3.4028234e35f;

/// The longest Hilbert transform that the wrapper accepts.
constexpr int kLongestHilbert = 1024;

/// Throws status -2 with the message if an element lies outside the transform range; a NaN passes.
inline void CheckTransformRange(const Ipp32f* src, int len, const char* message) {
    Ipp32f min = 0.f;
    Ipp32f max = 0.f;
    ippsMinMax_32f(src, len, &min, &max);
    Require(!(min < -kTransformRange || max > kTransformRange), message);
}

/// Refuses a len above 1024 with status -2.
inline void CheckHilbertLength(int len) {
    Require(len <= kLongestHilbert, "IPP::Exception::ippsHilbert_outOfRange32f");
}

/// Refuses values out of range and a len above 1024 with status -2.
inline void CheckHilbertRange(const Ipp32f* src, int len) {
    CheckTransformRange(src, len, "IPP::Exception::ippsHilbert_outOfRange32f");
    CheckHilbertLength(len);
}

/// Analytic signal of len floats, within the range above.
inline void ippsHilbert_32f32fc(const Ipp32f* src, Ipp32fc* dst, IppsHilbertSpec_32f32fc* state, int len) {
    CheckHilbertRange(src, len);
    Check(IPP::ippsHilbert_32f32fc(src, dst, state), "IPP::Exception::ippsHilbert_32f32fc");
}

/// The range of the first len floats is tested, which is half of the len complex values.
inline void ippsDFTFwd_CToC_32fc(const Ipp32fc* src, Ipp32fc* dst, const IppsDFTSpec_C_32fc* state,
                                 unsigned char* buffer, int len) {
    CheckTransformRange(reinterpret_cast<const Ipp32f*>(src), len, "IPP::Exception::ippsDFTFwd_outOfRange32f");
    Check(IPP::ippsDFTFwd_CToC_32fc(src, dst, state, buffer), "IPP::Exception::ippsDFTFwd_CToC_32fc");
}

inline void ippsDFTInv_CToC_32fc(const Ipp32fc* src, Ipp32fc* dst, const IppsDFTSpec_C_32fc* state,
                                 unsigned char* buffer, int len) {
    CheckTransformRange(reinterpret_cast<const Ipp32f*>(src), len, "IPP::Exception::ippsDFTInv_outOfRange32f");
    Check(IPP::ippsDFTInv_CToC_32fc(src, dst, state, buffer), "IPP::Exception::ippsDFTInv_CToC_32fc");
}

/// Mode 1 divides by the length, mode 2 by the number of products of the lag, any other value not at all.
inline void ippsAutoCorr_32f(const Ipp32f* src, int srcLen, Ipp32f* dst, int dstLen, int mode) {
    const auto primitive = mode == 1   ? IPP::ippsAutoCorr_NormA_32f
                           : mode == 2 ? IPP::ippsAutoCorr_NormB_32f
                                       : IPP::ippsAutoCorr_32f;
    Check(primitive(src, srcLen, dst, dstLen), "IPP::Exception::ippsAutoCorr_xxx");
}

/// The taps of a high-pass or a low-pass.
inline void IirGen(bool highpass, Ipp64f frequency, Ipp64f ripple, int order, Ipp64f* taps, int type) {
    highpass ? ippsIIRGenHighpass_64f(frequency, ripple, order, taps, type)
             : ippsIIRGenLowpass_64f(frequency, ripple, order, taps, type);
}

/// Makes a state with a delay line of zeros, runs the filter in place and releases the state, whatever the run gave.
inline void IirFilter(Ipp32f* srcDst, int len, const Ipp64f* taps, int order) {
    IppsIIRState64f_32f* state = nullptr;
    Check(ippsIIRInitAlloc64f_32f(&state, taps, order, nullptr), "IPP::Exception::ippsIIRInitAlloc64f_32f");
    const IppStatus run = ippsIIR64f_32f_I(srcDst, len, state);
    const IppStatus release = ippsIIRFree64f_32f(state);
    Check(release, "IPP::Exception::ippsIIRFree64f_32f");
    Check(run, "IPP::Exception::ippsIIR64f_32f_I");
}

} // namespace IPP::Checked
