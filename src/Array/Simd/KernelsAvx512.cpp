#define TZM_KERNEL_TABLE kernelsAvx512
#include "Array/Simd/Kernels.inl"
