#define TZM_LANES 4
#define TZM_KERNEL_TABLE fftKernelsBaseline
#include "Array/Simd/FftKernels.inl"
