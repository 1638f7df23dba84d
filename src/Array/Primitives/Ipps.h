#pragma once

#include "Array/Export.h"
#include "Array/Primitives/IppTypes.h"

/// Signal primitives. Every one with a length refuses a null pointer with -8 and a length below 1 with -6, unless its
/// line says otherwise; a refused call writes nothing. `_I` works in place. None holds global state.

namespace IPP {

struct IppsIIRState64f_32f;
struct IppsDFTSpec_C_32fc;
struct IppsFFTSpec_C_32fc;
struct IppsHilbertSpec_32f32fc;

// Memory, aligned to 64 bytes, large areas to huge pages. Null for a length below 1 or when memory is out.
Ipp32f* ippsMalloc_32f(int len);
Ipp32s* ippsMalloc_32s(int len);
Ipp32fc* ippsMalloc_32fc(int len);
Ipp64f* ippsMalloc_64f(int len);
void ippsFree(void* p);

// Plain operations.
IppStatus ippsZero_32f(Ipp32f* dst, int len);
IppStatus ippsZero_32s(Ipp32s* dst, int len);
IppStatus ippsZero_32fc(Ipp32fc* dst, int len);
IppStatus ippsSet_32f(Ipp32f value, Ipp32f* dst, int len);
IppStatus ippsCopy_32f(const Ipp32f* src, Ipp32f* dst, int len); // ranges may overlap
IppStatus ippsCopy_32s(const Ipp32s* src, Ipp32s* dst, int len);
IppStatus ippsCopy_32fc(const Ipp32fc* src, Ipp32fc* dst, int len);
IppStatus ippsMul_32f_I(const Ipp32f* src, Ipp32f* srcDst, int len);
IppStatus ippsMul_32fc_I(const Ipp32fc* src, Ipp32fc* srcDst, int len);
IppStatus ippsSubC_32f(const Ipp32f* src, Ipp32f value, Ipp32f* dst, int len);
IppStatus ippsAddC_32f_I(Ipp32f value, Ipp32f* srcDst, int len);
IppStatus ippsMulC_32f_I(Ipp32f value, Ipp32f* srcDst, int len);
IppStatus ippsDivC_32f_I(Ipp32f value, Ipp32f* srcDst, int len); // -10 for a value of 0
IppStatus ippsSqr_32f_I(Ipp32f* srcDst, int len);
IppStatus ippsMagnitude_32fc(const Ipp32fc* src, Ipp32f* dst, int len);
IppStatus ippsConj_32fc_I(Ipp32fc* srcDst, int len);
IppStatus ippsMaxEvery_32f_I(const Ipp32f* src, Ipp32f* srcDst, int len);
IppStatus ippsMinEvery_32f_I(const Ipp32f* src, Ipp32f* srcDst, int len);
IppStatus ippsThreshold_GT_32f_I(Ipp32f* srcDst, int len, Ipp32f level);
IppStatus ippsFlip_32f_I(Ipp32f* srcDst, int len);

// Statistics. Sums run in 64-bit floats.
IppStatus ippsMax_32f(const Ipp32f* src, int len, Ipp32f* max);
IppStatus ippsMax_32s(const Ipp32s* src, int len, Ipp32s* max);
IppStatus ippsMin_32f(const Ipp32f* src, int len, Ipp32f* min);
IppStatus ippsMinMax_32f(const Ipp32f* src, int len, Ipp32f* min, Ipp32f* max);
IppStatus ippsMean_32f(const Ipp32f* src, int len, Ipp32f* mean, IppHintAlgorithm hint);
IppStatus ippsSum_32f(const Ipp32f* src, int len, Ipp32f* sum, IppHintAlgorithm hint);

// Sorting.
IppStatus ippsSortAscend_32f_I(Ipp32f* srcDst, int len); // NaN last
IppStatus ippsSortAscend_32s_I(Ipp32s* srcDst, int len);

// Convolution and autocorrelation.
IppStatus ippsConv_32f(const Ipp32f* src1, int len1, const Ipp32f* src2, int len2, Ipp32f* dst);
IppStatus ippsAutoCorr_32f(const Ipp32f* src, int srcLen, Ipp32f* dst, int dstLen);
IppStatus ippsAutoCorr_NormA_32f(const Ipp32f* src, int srcLen, Ipp32f* dst, int dstLen);
IppStatus ippsAutoCorr_NormB_32f(const Ipp32f* src, int srcLen, Ipp32f* dst, int dstLen);

// IIR filters: 2 * order + 2 taps, B0 .. Bn, then A0 .. An. Type 0 is Butterworth, 1 Chebyshev I with ripple in dB.
TZM_EXPORT IppStatus ippsIIRGenLowpass_64f(Ipp64f frequency, Ipp64f ripple, int order, Ipp64f* taps, int type);
TZM_EXPORT IppStatus ippsIIRGenHighpass_64f(Ipp64f frequency, Ipp64f ripple, int order, Ipp64f* taps, int type);
IppStatus ippsIIRInitAlloc64f_32f(IppsIIRState64f_32f** state, const Ipp64f* taps, int order, const Ipp64f* delayLine);
IppStatus ippsIIR64f_32f_I(Ipp32f* srcDst, int len, IppsIIRState64f_32f* state);
IppStatus ippsIIRFree64f_32f(IppsIIRState64f_32f* state);

// Windows, multiplied onto the block; theta = 2 pi n / (len - 1).
TZM_EXPORT IppStatus ippsWinHamming_32f_I(Ipp32f* srcDst, int len);
TZM_EXPORT IppStatus ippsWinHann_32f_I(Ipp32f* srcDst, int len);
TZM_EXPORT IppStatus ippsWinBartlett_32f_I(Ipp32f* srcDst, int len);
TZM_EXPORT IppStatus ippsWinBlackman_32f_I(Ipp32f* srcDst, int len, Ipp32f alpha);
TZM_EXPORT IppStatus ippsWinKaiser_32f_I(Ipp32f* srcDst, int len, Ipp32f alpha);

// Transforms. A state is made once and only read afterwards, so that threads share it. A null buffer is the rule:
// the transform has work memory of its own. src may equal dst, but not in ippsHilbert.
IppStatus ippsDFTInitAlloc_C_32fc(IppsDFTSpec_C_32fc** state, int len, int flag, IppHintAlgorithm hint);
IppStatus ippsDFTFwd_CToC_32fc(const Ipp32fc* src, Ipp32fc* dst, const IppsDFTSpec_C_32fc* state,
                               unsigned char* buffer);
IppStatus ippsDFTInv_CToC_32fc(const Ipp32fc* src, Ipp32fc* dst, const IppsDFTSpec_C_32fc* state,
                               unsigned char* buffer);
IppStatus ippsDFTFree_C_32fc(IppsDFTSpec_C_32fc* state);
IppStatus ippsFFTInitAlloc_C_32fc(IppsFFTSpec_C_32fc** state, int order, int flag, IppHintAlgorithm hint);
IppStatus ippsFFTInv_CToC_32fc(const Ipp32fc* src, Ipp32fc* dst, const IppsFFTSpec_C_32fc* state,
                               unsigned char* buffer);
IppStatus ippsFFTFree_C_32fc(IppsFFTSpec_C_32fc* state);
IppStatus ippsHilbertInitAlloc_32f32fc(IppsHilbertSpec_32f32fc** state, int len, IppHintAlgorithm hint);
IppStatus ippsHilbert_32f32fc(const Ipp32f* src, Ipp32fc* dst, IppsHilbertSpec_32f32fc* state);
IppStatus ippsHilbertFree_32f32fc(IppsHilbertSpec_32f32fc* state);

} // namespace IPP
