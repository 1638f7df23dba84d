#include "Array/Simd/AscanKernels.h"

namespace IPP::Simd {

const AscanKernels& ActiveAscan() {
    switch (ActiveLevel()) {
    case Level::Avx512: return ascanKernelsAvx512;
    case Level::Avx2: return ascanKernelsAvx2;
    case Level::Baseline: break;
    }
    return ascanKernelsBaseline;
}

} // namespace IPP::Simd
