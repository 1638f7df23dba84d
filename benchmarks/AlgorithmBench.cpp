// The algorithms on blocks of the size of a survey, beside yardsticks of the same run. One thread; every block is
// touched before the first timed run. Rows bear the SIMD level, for the yardsticks too where it matters.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cstring>
#include <map>
#include <memory>
#include <tuple>

#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/AlgoMig2Post.h"
#include "Algorithms/Migration/TransformSize.h"
#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"
#include "Array/Array3D.h"
#include "Array/Primitives/FftPlan.h"
#include "support/Noise.h"
#include "support/SimdLevels.h"

#ifdef TZM_HAVE_FFTW
#include <fftw3.h>
#endif

using namespace TZM;

namespace {

// Input and output of one size, on the arrays' memory.
struct Blocks {
    explicit Blocks(const ImageProps& blockProps)
        : props(blockProps), in(props.samplesPerAscan, props.ascansPerBscan, props.bscanCount),
          out(props.samplesPerAscan, props.ascansPerBscan, props.bscanCount) {
        Noise noise;
        for (int i = 0; i < in.size; ++i) in[i] = 1000 * noise();
        out.Zero();
    }
    ImageProps props;
    IPP::Array3D<float> in;
    IPP::Array3D<float> out;
};

Blocks& BlocksOf(const ImageProps& props) {
    static std::map<std::tuple<int, int, int>, std::unique_ptr<Blocks>> all;
    auto& blocks = all[{props.samplesPerAscan, props.ascansPerBscan, props.bscanCount}];
    if (!blocks) blocks = std::make_unique<Blocks>(props);
    return *blocks;
}

void RunAlgorithm(benchmark::State& state, const AlgoBase& algorithm, const ImageProps& props, IPP::Simd::Level level) {
    Blocks& blocks = BlocksOf(props);
    IPP::Simd::SetActiveLevel(level);
    const auto run = [&] {
        algorithm.Execute(blocks.in.data, props, blocks.out.data, algorithm.GetAdjustedImageDimensions(props));
    };
    run(); // plans, pages, clock
    for (auto _ : state) run();
    state.SetBytesProcessed(state.iterations() * 4LL * blocks.in.size);
    IPP::Simd::SetActiveLevel(IPP::Simd::BestLevel());
}

void CopyBlock(benchmark::State& state, const ImageProps& props) {
    Blocks& blocks = BlocksOf(props);
    for (auto _ : state) {
        std::memcpy(blocks.out.data, blocks.in.data, 4ULL * blocks.in.size);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 4LL * blocks.in.size);
}

// The transforms that an envelope of the block can't do without: forward and back, two A-scans per complex transform.
void EnvelopeTransforms(benchmark::State& state, const ImageProps& props, IPP::Simd::Level level) {
    IPP::Simd::SetActiveLevel(level);
    const auto plan = IPP::FftPlan::Get(props.samplesPerAscan);
    const int lanes = IPP::Simd::ActiveFft().lanes;
    IPP::Array<float> lane(2 * lanes * props.samplesPerAscan);
    IPP::Array<float> work(static_cast<int>(plan->WorkSize()));
    lane.Zero();
    const int batches = (props.ascansPerBscan + 2 * lanes - 1) / (2 * lanes) * props.bscanCount;
    const IPP::LaneTarget target{lane.data, lane.data + lanes, 2 * lanes};
    for (auto _ : state)
        for (int i = 0; i < batches; ++i) {
            plan->Forward({target.re, target.im, target.stride}, target, work.data);
            plan->Inverse({target.re, target.im, target.stride}, target, work.data, 1.f / props.samplesPerAscan);
        }
    IPP::Simd::SetActiveLevel(IPP::Simd::BestLevel());
}

#ifdef TZM_HAVE_FFTW
// Two full complex transforms of the migration's size per B-scan.
void FftwTransforms(benchmark::State& state, const ImageProps& props) {
    const int nt = 1 << CeilLog2(props.samplesPerAscan);
    const int nx = 1 << CeilLog2(props.ascansPerBscan);
    fftwf_complex* data = fftwf_alloc_complex(static_cast<std::size_t>(nt) * nx);
    const fftwf_plan forward = fftwf_plan_dft_2d(nt, nx, data, data, FFTW_FORWARD, FFTW_MEASURE);
    const fftwf_plan inverse = fftwf_plan_dft_2d(nt, nx, data, data, FFTW_BACKWARD, FFTW_MEASURE);
    std::memset(data, 0, sizeof(fftwf_complex) * nt * nx);
    for (auto _ : state)
        for (int z = 0; z < props.bscanCount; ++z) {
            fftwf_execute(forward);
            fftwf_execute(inverse);
        }
    fftwf_destroy_plan(forward);
    fftwf_destroy_plan(inverse);
    fftwf_free(data);
}
#endif

template <class Run>
void Register(const std::string& name, Run&& run) {
    benchmark::RegisterBenchmark(name.c_str(), std::forward<Run>(run))->Unit(benchmark::kMillisecond);
}

bool RegisterAll() {
    omp_set_num_threads(1);
    for (const ImageProps& props : {ImageProps(512, 300, 35), ImageProps(1024, 1000, 35)}) {
        const std::string size = "/" + std::to_string(props.samplesPerAscan) + "x" +
                                 std::to_string(props.ascansPerBscan) + "x" + std::to_string(props.bscanCount);
        Register("Memcpy" + size, [=](benchmark::State& s) { CopyBlock(s, props); });
#ifdef TZM_HAVE_FFTW
        Register("TwoFftwTransforms" + size, [=](benchmark::State& s) { FftwTransforms(s, props); });
#endif
        for (const auto level : SimdLevels()) {
            const std::string row = size + "/" + IPP::Simd::Name(level);
            Register("OffsetRemoval" + row,
                     [=](benchmark::State& s) { RunAlgorithm(s, AlgoAscanOffsetRemoval(), props, level); });
            Register("FkMigration" + row,
                     [=](benchmark::State& s) { RunAlgorithm(s, AlgoFkMigration(), props, level); });
            Register("Mig2Post" + row, [=](benchmark::State& s) { RunAlgorithm(s, AlgoMig2Post(), props, level); });
            Register("EnvelopeTransforms" + row, [=](benchmark::State& s) { EnvelopeTransforms(s, props, level); });
        }
    }
    return true;
}

const bool registered = RegisterAll();

} // namespace
