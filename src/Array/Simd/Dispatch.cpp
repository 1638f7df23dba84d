#include "Array/Simd/Dispatch.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace IPP::Simd {

namespace {

Level FromEnvironment() {
    const Level best = BestLevel();
    const char* wanted = std::getenv("TZM_SIMD");
    if (!wanted) return best;
    for (const Level level : {Level::Baseline, Level::Avx2})
        if (level < best && std::strcmp(wanted, Name(level)) == 0) return level;
    return best;
}

std::atomic<Level>& Chosen() {
    static std::atomic<Level> level{FromEnvironment()};
    return level;
}

} // namespace

Level BestLevel() {
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("fma"))
        return Level::Avx512;
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return Level::Avx2;
    return Level::Baseline;
}

Level ActiveLevel() { return Chosen().load(std::memory_order_relaxed); }

void SetActiveLevel(Level level) {
    Chosen().store(level <= BestLevel() ? level : BestLevel(), std::memory_order_relaxed);
}

const char* Name(Level level) {
    switch (level) {
    case Level::Avx512: return "avx512";
    case Level::Avx2: return "avx2";
    case Level::Baseline: break;
    }
    return "baseline";
}

const Kernels& Of(Level level) {
    switch (level) {
    case Level::Avx512: return kernelsAvx512;
    case Level::Avx2: return kernelsAvx2;
    case Level::Baseline: break;
    }
    return kernelsBaseline;
}

const Kernels& Active() { return Of(ActiveLevel()); }

const FftKernels& FftOf(Level level) {
    switch (level) {
    case Level::Avx512: return fftKernelsAvx512;
    case Level::Avx2: return fftKernelsAvx2;
    case Level::Baseline: break;
    }
    return fftKernelsBaseline;
}

const FftKernels& ActiveFft() { return FftOf(ActiveLevel()); }

} // namespace IPP::Simd
