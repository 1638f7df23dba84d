#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Array/Primitives/FftPlan.h"
#include "Array/Primitives/Hilbert.h"
#include "Array/Primitives/Ippi.h"
#include "Array/Primitives/Ipps.h"
#include "Array/Simd/Dispatch.h"
#include "Array/TransformStates.h"
#include "support/Noise.h"
#ifdef TZM_HAVE_FFTW
#include <fftw3.h>
#endif

/// Transforms of a B-scan's size, one row per SIMD level, beside FFTW3f planned with MEASURE in the same run where it
/// is installed. Every figure is one thread's; "per_transform" is the time of one transform of a batch of 300.

using namespace IPP;

namespace {

constexpr Index kRows = 300;

/// Memory on a 64-byte boundary, touched.
struct Area {
    explicit Area(Index floats) : data(ippsMalloc_32f(int(floats))) {
        Noise noise;
        for (Index i = 0; i < floats; ++i) data[i] = noise();
    }
    ~Area() { ippsFree(data); }
    Area(const Area&) = delete;
    Area& operator=(const Area&) = delete;
    float* data;
};

void PerTransform(benchmark::State& state, double transforms) {
    state.counters["per_transform"] =
        benchmark::Counter(transforms, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// 300 transforms in lane form, where the library's own algorithms keep their data.
void Lanes(benchmark::State& state, Simd::Level level, Index n) {
    Simd::SetActiveLevel(level);
    const auto plan = FftPlan::Get(n);
    const Index lanes = Simd::ActiveFft().lanes, blocks = (kRows + lanes - 1) / lanes;
    Area src(2 * lanes * n * blocks), dst(2 * lanes * n * blocks), work(plan->WorkSize() + 1);
    for (auto _ : state)
        for (Index b = 0; b < blocks; ++b) {
            const float* in = src.data + b * 2 * lanes * n;
            float* out = dst.data + b * 2 * lanes * n;
            plan->Forward({in, in + lanes, 2 * lanes}, {out, out + lanes, 2 * lanes}, work.data);
        }
    PerTransform(state, double(blocks * lanes));
}

/// 300 rows of interleaved numbers, out of place.
void Rows(benchmark::State& state, Simd::Level level, Index n) {
    Simd::SetActiveLevel(level);
    const auto plan = FftPlan::Get(n);
    const auto& kernels = Simd::ActiveFft();
    const Index lanes = kernels.lanes, step = 8 * n;
    Area src(2 * n * kRows), dst(2 * n * kRows), block(2 * lanes * n), work(plan->WorkSize() + 1);
    for (auto _ : state)
        for (Index y = 0; y < kRows; y += lanes) {
            const int count = int(std::min(lanes, kRows - y));
            kernels.loadRows(src.data + y * 2 * n, step, count, 2 * n, block.data, lanes);
            plan->Forward({block.data, block.data + lanes, 2 * lanes}, {block.data, block.data + lanes, 2 * lanes},
                          work.data);
            kernels.storeRows(block.data, lanes, count, 2 * n, dst.data + y * 2 * n, step);
        }
    PerTransform(state, kRows);
}

/// The same rows by one call each of the primitive.
void Single(benchmark::State& state, Simd::Level level, Index n) {
    Simd::SetActiveLevel(level);
    const DftState transform(int(n), ippAlgHintFast, IPP_FFT_NODIV_BY_ANY);
    Area src(2 * n * kRows), dst(2 * n * kRows);
    for (auto _ : state)
        for (Index y = 0; y < kRows; ++y)
            ippsDFTFwd_CToC_32fc(reinterpret_cast<const Ipp32fc*>(src.data) + y * n,
                                 reinterpret_cast<Ipp32fc*>(dst.data) + y * n, transform.Get(), nullptr);
    PerTransform(state, kRows);
}

/// A transform of an image of interleaved numbers, out of place.
void Image(benchmark::State& state, Simd::Level level, int width, int height) {
    Simd::SetActiveLevel(level);
    const DftState2D transform(width, height, ippAlgHintFast, IPP_FFT_DIV_FWD_BY_N);
    Area src(2 * width * height), dst(2 * width * height);
    for (auto _ : state)
        ippiDFTFwd_CToC_32fc_C1R(reinterpret_cast<const Ipp32fc*>(src.data), 8 * width,
                                 reinterpret_cast<Ipp32fc*>(dst.data), 8 * width, transform.Get(), nullptr);
}

/// Envelopes of 300 rows; their own transforms are 300 of the same length, forward and back, of two rows each.
void Envelopes(benchmark::State& state, Simd::Level level, Index n) {
    Simd::SetActiveLevel(level);
    const HilbertState hilbert(int(n), ippAlgHintAccurate);
    Area src(n * kRows), dst(n * kRows), work(HilbertEnvelopesWorkSize(hilbert.Get()));
    for (auto _ : state) HilbertEnvelopes(src.data, n, dst.data, n, int(kRows), hilbert.Get(), work.data);
    PerTransform(state, kRows);
}

#ifdef TZM_HAVE_FFTW
struct FftwPlan {
    FftwPlan(fftwf_plan made) : plan(made) {}
    ~FftwPlan() { fftwf_destroy_plan(plan); }
    FftwPlan(const FftwPlan&) = delete;
    FftwPlan& operator=(const FftwPlan&) = delete;
    fftwf_plan plan;
};

fftwf_complex* Complex(const Area& area) { return reinterpret_cast<fftwf_complex*>(area.data); }

void FftwRows(benchmark::State& state, Index n) {
    Area src(2 * n * kRows), dst(2 * n * kRows);
    const int len = int(n);
    const FftwPlan fftw(fftwf_plan_many_dft(1, &len, int(kRows), Complex(src), nullptr, 1, len, Complex(dst), nullptr,
                                            1, len, FFTW_FORWARD, FFTW_MEASURE));
    for (auto _ : state) fftwf_execute(fftw.plan);
    PerTransform(state, kRows);
}

void FftwImage(benchmark::State& state, int width, int height) {
    Area src(2 * width * height), dst(2 * width * height);
    const FftwPlan fftw(fftwf_plan_dft_2d(height, width, Complex(src), Complex(dst), FFTW_FORWARD, FFTW_MEASURE));
    for (auto _ : state) fftwf_execute(fftw.plan);
}
#endif

template <class Function, class... Arguments>
void Register(const std::string& name, Function function, Arguments... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        function(state, arguments...);
    })->Unit(benchmark::kMicrosecond);
}

const bool registered = [] {
    std::vector<Simd::Level> levels;
    for (const auto level : {Simd::Level::Baseline, Simd::Level::Avx2, Simd::Level::Avx512})
        if (level <= Simd::BestLevel()) levels.push_back(level);
    for (const Index n : {256, 301, 511, 512, 1000, 1024, 2048}) {
        const std::string size = std::to_string(n);
#ifdef TZM_HAVE_FFTW
        Register("Rows/" + size + "/fftw", FftwRows, n);
#endif
        for (const auto level : levels) {
            Register("Rows/" + size + "/" + Simd::Name(level), Rows, level, n);
            Register("Lanes/" + size + "/" + Simd::Name(level), Lanes, level, n);
            Register("Single/" + size + "/" + Simd::Name(level), Single, level, n);
            Register("Envelopes/" + size + "/" + Simd::Name(level), Envelopes, level, n);
        }
    }
    const int images[][2] = {{512, 512}, {1024, 512}, {511, 300}};
    for (const auto& [width, height] : images) {
        const std::string size = std::to_string(width) + "x" + std::to_string(height);
#ifdef TZM_HAVE_FFTW
        Register("Image/" + size + "/fftw", FftwImage, width, height);
#endif
        for (const auto level : levels)
            Register("Image/" + size + "/" + Simd::Name(level), Image, level, width, height);
    }
    return true;
}();

} // namespace
