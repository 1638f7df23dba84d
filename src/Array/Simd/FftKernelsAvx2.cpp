#define TZM_LANES 8
#define TZM_KERNEL_TABLE fftKernelsAvx2
#include "Array/Simd/FftKernels.inl"
