#define TZM_KERNEL_TABLE kernelsAvx2
#include "Array/Simd/Kernels.inl"
