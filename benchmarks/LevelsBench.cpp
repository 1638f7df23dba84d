// Gain, contrast, normalisation and reduction beside a copy of the block, the automatic gain beside its own transforms.
// One thread; blocks are touched before the first timed run.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cstring>
#include <functional>
#include <memory>

#include "Algorithms/Gain/AlgoAutoGain.h"
#include "Algorithms/Gain/AlgoDepthGaining.h"
#include "Algorithms/Gain/AlgoNormalizationBscan.h"
#include "Algorithms/Gain/AlgoNormalizationCscan.h"
#include "Algorithms/Gain/AlgoSetContrastBscan.h"
#include "Algorithms/Reduction/AlgoBorderClearing.h"
#include "Algorithms/Reduction/AlgoHorizontalSumUp.h"
#include "Algorithms/Reduction/AlgoVerticalSumUp.h"
#include "Array/Array3D.h"
#include "Array/Primitives/FftPlan.h"
#include "support/Noise.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

struct Blocks {
    Blocks(int samples, int ascans) : props(samples, ascans, 35), in(samples, ascans, 35), out(samples, ascans, 35) {
        Noise noise;
        for (int i = 0; i < in.size; ++i) in[i] = noise();
        out.Zero();
    }
    ImageProps props;
    IPP::Array3D<float> in, out;
};

Blocks& BlocksOf(int samples, int ascans) {
    static std::unique_ptr<Blocks> blocks; // one at a time
    if (!blocks || blocks->props.samplesPerAscan != samples) blocks = std::make_unique<Blocks>(samples, ascans);
    return *blocks;
}

void Measure(benchmark::State& state, const std::function<void()>& run) {
    run();
    for (auto _ : state) {
        run();
        benchmark::ClobberMemory();
    }
}

void Add(const std::string& name, std::function<void(benchmark::State&)> run) {
    benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMillisecond);
}

void AddAlgorithm(const std::string& name, std::shared_ptr<AlgoBase> algorithm, int samples, int ascans) {
    for (const auto level : SimdLevels())
        Add(name + "/" + IPP::Simd::Name(level), [=](benchmark::State& state) {
            Blocks& b = BlocksOf(samples, ascans);
            IPP::Simd::SetActiveLevel(level);
            Measure(state, [&] { algorithm->Execute(b.in.data, b.props, b.out.data, b.props); });
            IPP::Simd::SetActiveLevel(IPP::Simd::BestLevel());
        });
}

template <class Algorithm>
std::shared_ptr<AlgoBase> With(const std::decay_t<decltype(std::declval<Algorithm&>().GetParams())>& params) {
    auto algorithm = std::make_shared<Algorithm>();
    algorithm->Setup(params);
    return algorithm;
}

/// A forward and an inverse transform for every pair of A-scans, in the cache.
void Transforms(benchmark::State& state, int samples, int ascans) {
    const auto plan = IPP::FftPlan::Get(samples);
    const auto lanes = IPP::Simd::ActiveFft().lanes;
    std::vector<float> signal(std::size_t(2 * lanes * samples)), work(std::size_t(plan->WorkSize() + 1));
    const IPP::LaneSource source{signal.data(), signal.data() + lanes, 2 * lanes};
    const IPP::LaneTarget target{signal.data(), signal.data() + lanes, 2 * lanes};
    Measure(state, [&] {
        for (std::int64_t pairs = 35LL * ascans / 2; pairs > 0; pairs -= lanes) {
            plan->Forward(source, target, work.data());
            plan->Inverse(source, target, work.data(), 1e-3f);
        }
    });
}

bool RegisterAll() {
    omp_set_num_threads(1);
    Add("Memcpy", [](benchmark::State& state) {
        Blocks& b = BlocksOf(1024, 1000);
        Measure(state, [&] { std::memcpy(b.out.data, b.in.data, 4ULL * std::size_t(b.in.size)); });
    });
    AddAlgorithm("DepthGaining", With<AlgoDepthGaining>({true, 1, 10, 200, -1, 1, 2, 3}), 1024, 1000);
    auto clearing = std::make_shared<AlgoBorderClearing>();
    clearing->GetParams().borders = BorderWidths{10, 10, 0, 1, 16, 20};
    AddAlgorithm("BorderClearing", clearing, 1024, 1000);
    AddAlgorithm("SetContrastBscan", std::make_shared<AlgoSetContrastBscan>(), 1024, 1000);
    AddAlgorithm("NormalizationBscan", std::make_shared<AlgoNormalizationBscan>(), 1024, 1000);
    AddAlgorithm("NormalizationCscan", std::make_shared<AlgoNormalizationCscan>(), 1024, 1000);
    for (const bool max : {true, false}) {
        const std::string kind = max ? "Max" : "Rms";
        AddAlgorithm("HorizontalSumUp5" + kind, With<AlgoHorizontalSumUp>({true, 1, 5, max}), 1024, 1000);
        for (const int thickness : {8, 64})
            AddAlgorithm("VerticalSumUp" + std::to_string(thickness) + kind,
                         With<AlgoVerticalSumUp>({true, 1, thickness, max}), 1024, 1000);
    }
    for (const auto level : SimdLevels())
        Add(std::string("Transforms/") + IPP::Simd::Name(level), [level](benchmark::State& state) {
            IPP::Simd::SetActiveLevel(level);
            Transforms(state, 512, 300);
            IPP::Simd::SetActiveLevel(IPP::Simd::BestLevel());
        });
    AddAlgorithm("AutoGainStandard", With<AlgoAutoGain>({true, 1, 2.5f, 10, false}), 512, 300);
    AddAlgorithm("AutoGainDeep", With<AlgoAutoGain>({true, 1, 2.5f, 10, true}), 512, 300);
    return true;
}

const bool registered = RegisterAll();

} // namespace
