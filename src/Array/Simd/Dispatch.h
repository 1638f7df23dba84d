#pragma once

#include "Array/Simd/FftKernels.h"
#include "Array/Simd/Kernels.h"

/// Chooses, on first use, the kernels of the best instruction set that the processor has.
/// TZM_SIMD=baseline|avx2|avx512 in the environment lowers the choice; it never raises it.

namespace IPP::Simd {

enum class Level { Baseline, Avx2, Avx512 };

/// The best level of this processor.
Level BestLevel();

/// The level in use.
Level ActiveLevel();

/// Changes the level in use, for tests and benchmarks; no transform or algorithm may run meanwhile.
void SetActiveLevel(Level level);

const char* Name(Level level);

const Kernels& Of(Level level);
const Kernels& Active();

const FftKernels& FftOf(Level level);
const FftKernels& ActiveFft();

} // namespace IPP::Simd
