// The preparation of a recording of several channels on a block of the size of a survey, beside a copy of the block in
// the same run. One thread; both blocks are touched before the first timed run.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cstring>
#include <memory>

#include "Algorithms/Gain/AlgoEnergyCorrection.h"
#include "Algorithms/Preparation/AlgoBistaticCorrection.h"
#include "Algorithms/Preparation/AlgoBistaticReplacement.h"
#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Array/Array3D.h"
#include "support/Noise.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

// Counts of a digitiser: noise, and a lobe below the threshold that begins with sample 40.
struct Blocks {
    Blocks() {
        Noise noise;
        for (int i = 0; i < in.size; ++i) in[i] = 1000 * noise() - (i % in.dim0 >= 40 && i % in.dim0 < 46 ? 10000 : 0);
        out.Zero();
    }
    ImageProps props{1024, 1000, 35};
    IPP::Array3D<float> in{1024, 1000, 35};
    IPP::Array3D<float> out{1024, 1000, 35};
};

Blocks& TheBlocks() {
    static Blocks blocks;
    return blocks;
}

template <class Run>
void Measure(benchmark::State& state, const Run& run) {
    run();
    for (auto _ : state) {
        run();
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 4LL * TheBlocks().in.size);
}

void CopyBlock(benchmark::State& state) {
    Blocks& b = TheBlocks();
    Measure(state, [&] { std::memcpy(b.out.data, b.in.data, 4ULL * b.in.size); });
}

void RunAlgorithm(benchmark::State& state, const AlgoBase& algorithm, IPP::Simd::Level level) {
    Blocks& b = TheBlocks();
    IPP::Simd::SetActiveLevel(level);
    Measure(state, [&] { algorithm.Execute(b.in.data, b.props, b.out.data, b.props); });
    IPP::Simd::SetActiveLevel(IPP::Simd::BestLevel());
}

bool RegisterAll() {
    omp_set_num_threads(1);
    static AlgoTimeZeroDetection timeZero;
    static AlgoBistaticCorrection correction;
    static AlgoBistaticReplacement replacement, wholeReplacement("WholeReplacement");
    static AlgoEnergyCorrection energy;
    replacement.GetParams().enabled = true;
    wholeReplacement.Setup(AlgoParamBistaticReplacement(true, 1, 1024, 0, true));
    const auto add = [](const std::string& name, auto run) {
        benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMillisecond);
    };
    add("Memcpy", CopyBlock);
    for (const auto level : SimdLevels()) {
        const auto addLevels = [&](const auto& algorithm) {
            add(algorithm.GetLogPrefix() + "/" + IPP::Simd::Name(level),
                [&algorithm, level](benchmark::State& state) { RunAlgorithm(state, algorithm, level); });
        };
        addLevels(timeZero);
        addLevels(correction);
        addLevels(replacement);
        addLevels(wholeReplacement);
        addLevels(energy);
    }
    return true;
}

const bool registered = RegisterAll();

} // namespace
