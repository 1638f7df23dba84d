#define TZM_LANES 16
#define TZM_KERNEL_TABLE fftKernelsAvx512
#include "Array/Simd/FftKernels.inl"
