#define TZM_LANES 4
#define TZM_KERNEL_TABLE ascanKernelsBaseline
#include "Array/Simd/AscanKernels.inl"
