// Compiled once per instruction set, with internal linkage, and without any standard header, so that the linker can't
// hand code of one level to another.
#include "Array/Simd/Kernels.h"

namespace IPP::Simd {

namespace {

void Zero(float* dst, int len) {
    for (int i = 0; i < len; ++i) dst[i] = 0.f;
}

} // namespace

extern const Kernels TZM_KERNEL_TABLE = {&Zero};

} // namespace IPP::Simd
