#pragma once

#include <benchmark/benchmark.h>
#include <omp.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "Array/Array3D.h"
#include "Framework/AlgoBase.h"
#include "support/Noise.h"
#include "support/SimdLevels.h"

/// Input and output of one shape, both touched. The input is noise with a lobe at sample 40 as of a direct wave.
struct Blocks {
    explicit Blocks(const TZM::ImageProps& blockProps)
        : props(blockProps), in(props.samplesPerAscan, props.ascansPerBscan, props.bscanCount),
          out(props.samplesPerAscan, props.ascansPerBscan, props.bscanCount) {
        Noise noise;
        for (int i = 0; i < in.size; ++i) in[i] = 1000 * noise() - (i % in.dim0 >= 40 && i % in.dim0 < 46 ? 10000 : 0);
        out.Zero();
    }
    TZM::ImageProps props;
    IPP::Array3D<float> in, out;
};

/// One shape at a time is held.
inline Blocks& BlocksOf(const TZM::ImageProps& props) {
    static std::unique_ptr<Blocks> blocks;
    if (!blocks || blocks->props.samplesPerAscan != props.samplesPerAscan ||
        blocks->props.ascansPerBscan != props.ascansPerBscan || blocks->props.bscanCount != props.bscanCount) {
        blocks.reset();
        blocks = std::make_unique<Blocks>(props);
    }
    return *blocks;
}

/// Times run after a first call, which makes plans and pages.
template <class Run>
void Measure(benchmark::State& state, const Run& run) {
    run();
    for (auto _ : state) {
        run();
        benchmark::ClobberMemory();
    }
}

template <class Run>
void Add(const std::string& name, Run run) {
    benchmark::RegisterBenchmark(name.c_str(), std::move(run))->Unit(benchmark::kMillisecond)->UseRealTime();
}

/// A row per vector level.
template <class Run>
void AddAtLevels(const std::string& name, Run run) {
    for (const auto level : SimdLevels())
        Add(name + "/" + IPP::Simd::Name(level), [=](benchmark::State& state) {
            IPP::Simd::SetActiveLevel(level);
            run(state);
            IPP::Simd::SetActiveLevel(IPP::Simd::BestLevel());
        });
}

inline std::string SizeOf(const TZM::ImageProps& props) {
    return "/" + std::to_string(props.samplesPerAscan) + "x" + std::to_string(props.ascansPerBscan) + "x" +
           std::to_string(props.bscanCount);
}

inline void AddMemcpy(const TZM::ImageProps& props) {
    Add("Memcpy" + SizeOf(props), [=](benchmark::State& state) {
        Blocks& b = BlocksOf(props);
        Measure(state, [&] { std::memcpy(b.out.data, b.in.data, 4ULL * std::size_t(b.in.size)); });
    });
}

/// An algorithm with its parameters.
template <class Algorithm, class Params>
std::shared_ptr<TZM::AlgoBase> With(const Params& params) {
    auto algorithm = std::make_shared<Algorithm>();
    algorithm->Setup(params);
    return algorithm;
}
