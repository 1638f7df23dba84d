#define TZM_KERNEL_TABLE kernelsBaseline
#include "Array/Simd/Kernels.inl"
