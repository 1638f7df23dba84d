#define TZM_LANES 8
#define TZM_KERNEL_TABLE ascanKernelsAvx2
#include "Array/Simd/AscanKernels.inl"
