// Background removal beside what it replaces: a copy of the block, a selection row by row over depth rows, a filter row
// by row, direct sums for the autocorrelations of the mesh stage. One thread; blocks are touched before the first run.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Array/Array3D.h"
#include "Framework/private/BscanLayout.h"
#include "support/Noise.h"
#include "support/SimdLevels.h"

using namespace TZM;

namespace {

struct Removal : AlgoBgRemoval {
    explicit Removal(int type) {
        Setup(AlgoParamBgRemoval(false, 1, 20, static_cast<AlgoParamBgRemoval::AlgoType>(type)));
        RefreshInternalAlgoParams();
    }
    using AlgoBgRemoval::GetEnergyWindow, AlgoBgRemoval::MeshDetectionXcorr, AlgoBgRemoval::MeshInfo;
};

struct Blocks {
    Blocks(int samples, int ascans, int bscans)
        : props(samples, ascans, bscans), in(samples, ascans, bscans), out(samples, ascans, bscans) {
        Noise noise;
        for (int i = 0; i < in.size; ++i) in[i] = noise();
        out.Zero();
    }
    ImageProps props;
    IPP::Array3D<float> in, out;
};

Blocks& BlocksOf(int samples, int ascans, int bscans) {
    static std::unique_ptr<Blocks> blocks; // one at a time
    if (!blocks || blocks->props.samplesPerAscan != samples || blocks->props.ascansPerBscan != ascans)
        blocks = std::make_unique<Blocks>(samples, ascans, bscans);
    return *blocks;
}

template <class Run>
void Measure(benchmark::State& state, const Run& run) {
    run();
    for (auto _ : state) {
        run();
        benchmark::ClobberMemory();
    }
}

/// Depth rows of a B-scan of 300 A-scans.
IPP::Array2D<float>& Rows() {
    static IPP::Array2D<float> rows(300, 512);
    ToDepthRows(BlocksOf(512, 300, 35).in.Slice(3), rows);
    return rows;
}

void SelectRowByRow(benchmark::State& state) {
    auto& rows = Rows();
    std::vector<float> copy(300);
    Measure(state, [&] {
        for (int z = 0; z < 35; ++z)
            for (int r = 0; r < 512; ++r) {
                std::copy_n(rows.Row(r).data, 300, copy.begin());
                std::nth_element(copy.begin(), copy.begin() + 150, copy.end());
                benchmark::DoNotOptimize(*std::max_element(copy.begin(), copy.begin() + 150));
            }
    });
}

void FilterRowByRow(benchmark::State& state) {
    auto& rows = Rows();
    IPP::Array2D<float> work(300, 512);
    IPP::Array<double> taps(4);
    const double values[] = {0.98, -0.98, 1, -0.97};
    std::copy_n(values, 4, taps.data);
    Measure(state, [&] {
        for (int z = 0; z < 35; ++z) {
            work.CopyFrom(rows);
            for (int r = 0; r < 512; ++r) work.Row(r).FilterZeroPhase(taps, 1);
        }
    });
}

void DirectAutocorrelations(benchmark::State& state) {
    auto& rows = Rows();
    std::vector<double> sum(300);
    Measure(state, [&] {
        for (int r = 0; r <= 200; ++r)
            for (int lag = 0; lag < 300; ++lag) {
                float dot = 0;
                const float* x = rows.Row(r).data;
#pragma omp simd reduction(+ : dot)
                for (int c = 0; c < 300 - lag; ++c) dot += x[c] * x[c + lag];
                sum[std::size_t(lag)] += double(dot);
            }
        benchmark::DoNotOptimize(sum.data());
    });
}

void MeshAutocorrelations(benchmark::State& state) {
    auto& rows = Rows();
    const Removal removal(2);
    Removal::MeshInfo info;
    Measure(state, [&] { removal.MeshDetectionXcorr(rows, 0, 200, info); });
}

void EnergyWindow(benchmark::State& state) {
    auto& rows = Rows();
    const Removal removal(2);
    IPP::Array2D<float> window(300, 512);
    Measure(state, [&] { removal.GetEnergyWindow(rows, window, 4, 150, 0.0006f); });
}

bool RegisterAll() {
    omp_set_num_threads(1);
    const auto add = [](const std::string& name, auto run) {
        benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMillisecond);
    };
    for (const auto& [samples, ascans] : {std::pair(512, 300), std::pair(1024, 1000)}) {
        const std::string size = "/" + std::to_string(samples) + "x" + std::to_string(ascans) + "x35";
        const auto blocks = [samples = samples, ascans = ascans]() -> Blocks& { return BlocksOf(samples, ascans, 35); };
        add("Memcpy" + size, [blocks](benchmark::State& state) {
            Blocks& b = blocks();
            Measure(state, [&] { std::memcpy(b.out.data, b.in.data, 4ULL * std::size_t(b.in.size)); });
        });
        for (const auto& [type, name] : {std::pair(1, "Median"), std::pair(4, "Mean"), std::pair(3, "HighPass"),
                                         std::pair(5, "Surface"), std::pair(2, "Classify")})
            for (const auto level : SimdLevels())
                add(name + size + "/" + IPP::Simd::Name(level), [=, type = type](benchmark::State& state) {
                    Blocks& b = blocks();
                    const Removal removal(type);
                    IPP::Simd::SetActiveLevel(level);
                    Measure(state, [&] { removal.Execute(b.in.data, b.props, b.out.data, b.props); });
                    IPP::Simd::SetActiveLevel(IPP::Simd::BestLevel());
                });
        if (samples == 512) {
            add("SelectRowByRow" + size, SelectRowByRow);
            add("FilterRowByRow" + size, FilterRowByRow);
        }
    }
    add("DirectAutocorrelations", DirectAutocorrelations);
    add("MeshAutocorrelations", MeshAutocorrelations);
    add("EnergyWindow", EnergyWindow);
    return true;
}

const bool registered = RegisterAll();

} // namespace
