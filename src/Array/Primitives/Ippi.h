#pragma once

#include "Array/Primitives/IppTypes.h"

/// Image primitives: two-dimensional transforms, width along contiguous memory; steps between rows in bytes.
/// A null pointer gives -8, a step below 1 gives -14.

namespace IPP {

struct IppiDFTSpec_C_32fc;
struct IppiFFTSpec_C_32fc;

IppStatus ippiDFTInitAlloc_C_32fc(IppiDFTSpec_C_32fc** state, int width, int height, int flag, IppHintAlgorithm hint);
IppStatus ippiDFTFwd_CToC_32fc_C1R(const Ipp32fc* src, int srcStep, Ipp32fc* dst, int dstStep,
                                   const IppiDFTSpec_C_32fc* state, unsigned char* buffer);
IppStatus ippiDFTFree_C_32fc(IppiDFTSpec_C_32fc* state);
IppStatus ippiFFTInitAlloc_C_32fc(IppiFFTSpec_C_32fc** state, int orderX, int orderY, int flag, IppHintAlgorithm hint);
IppStatus ippiFFTFwd_CToC_32fc_C1R(const Ipp32fc* src, int srcStep, Ipp32fc* dst, int dstStep,
                                   const IppiFFTSpec_C_32fc* state, unsigned char* buffer);
IppStatus ippiFFTFwd_CToC_32fc_C1IR(Ipp32fc* srcDst, int step, const IppiFFTSpec_C_32fc* state, unsigned char* buffer);
IppStatus ippiFFTInv_CToC_32fc_C1IR(Ipp32fc* srcDst, int step, const IppiFFTSpec_C_32fc* state, unsigned char* buffer);
IppStatus ippiFFTFree_C_32fc(IppiFFTSpec_C_32fc* state);

} // namespace IPP
