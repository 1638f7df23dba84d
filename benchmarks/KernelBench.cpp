// Kernels and plain primitives on a row that stays in the first cache, per SIMD level.
#include <benchmark/benchmark.h>

#include "Array/Array.h"
#include "Array/Primitives/Ipps.h"
#include "support/Noise.h"
#include "support/SimdLevels.h"

namespace {

using IPP::Simd::Kernels;

constexpr int kLength = 1000;

template <class Run>
void Register(const std::string& name, const Run& run) {
    for (const auto level : SimdLevels())
        benchmark::RegisterBenchmark((name + "/" + IPP::Simd::Name(level)).c_str(), [=](benchmark::State& state) {
            IPP::Simd::SetActiveLevel(level);
            std::vector<float> a = Noise(1).Floats(2 * kLength);
            std::vector<float> b = Noise(2).Floats(2 * kLength);
            for (auto _ : state) {
                run(IPP::Simd::Of(level), a.data(), b.data());
                benchmark::ClobberMemory();
            }
            state.SetItemsProcessed(state.iterations() * kLength);
            IPP::Simd::SetActiveLevel(IPP::Simd::BestLevel());
        });
}

const bool registered = [] {
    using Complex = IPP::Ipp32fc;
    Register("Mul", [](const Kernels& k, float* a, float* b) { k.mul(a, b, kLength); });
    Register("AddC", [](const Kernels& k, float*, float* b) { k.addC(1e-9f, b, kLength); });
    Register("MulC", [](const Kernels& k, float*, float* b) { k.mulC(1., b, kLength); });
    Register("Sum", [](const Kernels& k, float* a, float*) { benchmark::DoNotOptimize(k.sum(a, kLength)); });
    Register("MinMax", [](const Kernels& k, float* a, float* b) { k.minMax(a, kLength, b, b + 1); });
    Register("Flip", [](const Kernels& k, float* a, float*) { k.flip(a, kLength); });
    Register("Magnitude",
             [](const Kernels& k, float* a, float* b) { k.magnitude(reinterpret_cast<Complex*>(a), b, kLength); });
    Register("MulComplex", [](const Kernels& k, float* a, float* b) {
        k.mulComplex(reinterpret_cast<Complex*>(a), reinterpret_cast<Complex*>(b), kLength);
    });
    Register("Convolve1000By64", [](const Kernels&, float* a, float* b) {
        static std::vector<float> out(2 * kLength);
        IPP::ippsConv_32f(a, kLength, b, 64, out.data());
    });
    Register("Autocorrelate1000",
             [](const Kernels&, float* a, float* b) { IPP::ippsAutoCorr_32f(a, kLength, b, kLength); });
    return true;
}();

} // namespace
