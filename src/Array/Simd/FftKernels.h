#pragma once

#include "Array/Primitives/IppTypes.h"

namespace IPP::Simd {

/// The transform kernels of one instruction set.
struct FftKernels {
    int lanes; ///< 32-bit floats in a vector
};

extern const FftKernels fftKernelsBaseline;
extern const FftKernels fftKernelsAvx2;
extern const FftKernels fftKernelsAvx512;

} // namespace IPP::Simd
