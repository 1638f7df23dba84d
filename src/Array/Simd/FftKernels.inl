// Compiled once per instruction set, with internal linkage, and without any standard header, so that the linker can't
// hand code of one level to another.
#include "Array/Simd/FftKernels.h"

namespace IPP::Simd {

extern const FftKernels TZM_KERNEL_TABLE = {TZM_LANES};

} // namespace IPP::Simd
