#define TZM_LANES 16
#define TZM_KERNEL_TABLE ascanKernelsAvx512
#include "Array/Simd/AscanKernels.inl"
