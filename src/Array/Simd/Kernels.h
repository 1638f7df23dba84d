#pragma once

#include "Array/Primitives/IppTypes.h"

namespace IPP::Simd {

/// The vector kernels of one instruction set. They check nothing: lengths are at least 1, pointers valid.
struct Kernels {
    void (*zero)(float* dst, int len);
};

extern const Kernels kernelsBaseline;
extern const Kernels kernelsAvx2;
extern const Kernels kernelsAvx512;

} // namespace IPP::Simd
