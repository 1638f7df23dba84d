// What the algorithms replace, and what they can't do without: transforms by FFTW, selections and filters row by row,
// direct sums, a strided diffraction sum, a recursion from depth to depth. One thread.
#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Algorithms/Migration/AlgoArrayMigration.h"
#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/AlgoFkMigration3D.h"
#include "Algorithms/Migration/AlgoGazdagMigration.h"
#include "Algorithms/Migration/AlgoKirchhoffMigration.h"
#include "Algorithms/Migration/TransformSize.h"
#include "Array/Primitives/FftPlan.h"
#include "Array/Primitives/Ippi.h"
#include "Focus/FindPermittivity.h"
#include "Framework/private/BscanLayout.h"
#include "Measure.h"
#include "support/FocusScenes.h"

#include <algorithm>
#include <cmath>
#include <vector>

#ifdef TZM_HAVE_FFTW
#include <fftw3.h>
#endif

using namespace TZM;

namespace {

constexpr int kBscans = 35;

/// Forward and back for every pair of A-scans of the block, in the cache.
void AddTransformsOfPairs(const ImageProps& props) {
    AddAtLevels("TransformsOfPairs" + SizeOf(props), [=](benchmark::State& state) {
        const int samples = props.samplesPerAscan, lanes = static_cast<int>(IPP::Simd::ActiveFft().lanes);
        const auto plan = IPP::FftPlan::Get(samples);
        IPP::Array<float> signal(2 * lanes * samples), work(static_cast<int>(plan->WorkSize() + 1));
        signal.Zero();
        const IPP::LaneTarget target{signal.data, signal.data + lanes, 2 * lanes};
        Measure(state, [&] {
            const int pairs = (props.ascansPerBscan + 1) / 2;
            for (int i = 0; i < (pairs + lanes - 1) / lanes * props.bscanCount; ++i) {
                plan->Forward({target.re, target.im, target.stride}, target, work.data);
                plan->Inverse({target.re, target.im, target.stride}, target, work.data, 1.f / float(samples));
            }
        });
    });
}

#ifdef TZM_HAVE_FFTW
/// Two full complex transforms of the Fk migration's size per B-scan.
void AddFftwTransforms(const ImageProps& props) {
    Add("TwoFftwTransforms" + SizeOf(props), [=](benchmark::State& state) {
        const int nt = 1 << CeilLog2(props.samplesPerAscan), nx = 1 << CeilLog2(props.ascansPerBscan);
        fftwf_complex* data = fftwf_alloc_complex(std::size_t(nt) * std::size_t(nx));
        const fftwf_plan forward = fftwf_plan_dft_2d(nt, nx, data, data, FFTW_FORWARD, FFTW_MEASURE);
        const fftwf_plan inverse = fftwf_plan_dft_2d(nt, nx, data, data, FFTW_BACKWARD, FFTW_MEASURE);
        std::memset(data, 0, sizeof(fftwf_complex) * std::size_t(nt) * std::size_t(nx));
        Measure(state, [&] {
            for (int z = 0; z < props.bscanCount; ++z) {
                fftwf_execute(forward);
                fftwf_execute(inverse);
            }
        });
        fftwf_destroy_plan(forward);
        fftwf_destroy_plan(inverse);
        fftwf_free(data);
    });
}
#endif

/// Depth rows of a B-scan of 300 A-scans.
const IPP::Array2D<float>& Rows() {
    static IPP::Array2D<float> rows(300, 512);
    ToDepthRows(BlocksOf(ImageProps(512, 300, kBscans)).in.Slice(3), rows);
    return rows;
}

void SelectRowByRow(benchmark::State& state) {
    auto& rows = Rows();
    std::vector<float> copy(300);
    Measure(state, [&] {
        for (int z = 0; z < kBscans; ++z)
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
        for (int z = 0; z < kBscans; ++z) {
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

struct Removal : AlgoBgRemoval {
    Removal() { RefreshInternalAlgoParams(); }
    using AlgoBgRemoval::GetEnergyWindow, AlgoBgRemoval::MeshDetectionXcorr, AlgoBgRemoval::MeshInfo;
};

void MeshAutocorrelations(benchmark::State& state) {
    auto& rows = const_cast<IPP::Array2D<float>&>(Rows());
    const Removal removal;
    Removal::MeshInfo info;
    Measure(state, [&] { removal.MeshDetectionXcorr(rows, 0, 200, info); });
}

void EnergyWindow(benchmark::State& state) {
    auto& rows = const_cast<IPP::Array2D<float>&>(Rows());
    const Removal removal;
    IPP::Array2D<float> window(300, 512);
    Measure(state, [&] { removal.GetEnergyWindow(rows, window, 4, 150, 0.0006f); });
}

/// The diffraction sum of one B-scan term by term, the A-scans in the inner loop. 60 degrees, 10 to 32 A-scans,
/// antennas 3 cm apart, permittivity 6.
void StridedDiffractionSum(const IPP::Array2D<float>& in, IPP::Array2D<float>& out) {
    const int S = in.dim0, A = in.dim1;
    const float dt = 5e-11f, dx = 0.005f, h = 3e8f / std::sqrt(6.f) / 2, a = 0.03f,
                slope = std::tan(60 * 3.14159f / 180);
    out.Zero();
    for (int d = 1 - A; d <= A - 2; ++d)
        for (int s = 0; s < S; ++s) {
            const float t = float(s) * dt, x = float(d) * dx;
            const float width = std::min(std::max(std::trunc(t * h * slope / (2 * dx)), 10.f), 32.f);
            if (std::abs(float(d)) > width) continue;
            const float T = (std::hypot((x + a) / h, t) + std::hypot((x - a) / h, t)) / 2, late = T - a / (4 * h);
            const int source = int(std::floor(late / dt + 1.5f));
            if (source >= S) break;
            const float weight = late > 0 ? std::sqrt(float(S) * dt / late) * t / late : 1.f;
            const int first = std::max(0, -d), last = std::min(A - 1, A - 1 - d);
            const float* from = in.data + std::int64_t{S} * (first + d) + source;
            float* to = out.data + std::int64_t{S} * first + s;
            for (int y = first; y <= last; ++y, from += S, to += S) *to += weight * *from;
        }
}

/// The image line in the middle of an array as one sum over lines and A-scans after the other, without anti-aliasing.
/// Gives the number of terms.
std::int64_t StridedArraySum(const IPP::Array3D<float>& in, IPP::Array2D<float>& out, double spacing) {
    const int S = in.dim0, A = in.dim1, line = in.dim2 / 2;
    const double dt = 5e-11f, dx = 0.005f, h = 3e8 / std::sqrt(6.) / 2, slope = std::tan(60 * M_PI / 180) / 2;
    std::int64_t terms = 0;
    out.Zero();
    for (int z = 0; z < in.dim2; ++z)
        for (int d = 1 - A; d < A; ++d)
            for (int s = 1; s < S; ++s) {
                const bool across = z % 5 % 2 == 1;
                const double t = s * dt, x = d * dx / h, y = (z - line) * spacing / h, a = 0.015f / h;
                if (std::hypot(x, y) > t * slope && !(std::abs(d) <= 10 && std::abs(z - line) <= 2)) continue;
                const double T = across ? (std::hypot(x, y + a, t) + std::hypot(x, y - a, t)) / 2
                                        : (std::hypot(x + a, y, t) + std::hypot(x - a, y, t)) / 2;
                const int source = int(std::floor(T / dt + 0.5));
                if (source >= S) break;
                const float weight = float(S * dt * t / (T * T));
                const int first = std::max(0, -d), last = std::min(A - 1, A - 1 - d);
                const float* from = in.Slice(z).data + std::int64_t{S} * (first + d) + source;
                float* to = out.data + std::int64_t{S} * first + s;
                for (int i = first; i <= last; ++i, from += S, to += S) *to += weight * *from;
                terms += last - first + 1;
            }
    return terms;
}

std::shared_ptr<AlgoArrayMigration> ArrayMigration(float spacing, bool antiAlias) {
    auto migration = std::make_shared<AlgoArrayMigration>();
    migration->Setup(AlgoParamArrayMigration(true, 1, 0, 6.f, "", spacing));
    migration->GetParams().antiAlias = antiAlias;
    return migration;
}

/// The sum's innermost step alone: a tile along curves through rows that a cache holds. Terms per second tell what the
/// machine can do; a term is one addition, half a read of its row in registers of all lanes.
void AddCurveTiles(const std::string& cache, int rowCount) {
    AddAtLevels("CurveTile" + cache, [=](benchmark::State& state) {
        using IPP::Simd::kCurveColumns, IPP::Simd::kCurveRows;
        constexpr int kDistances = 64, kStride = 2 * kDistances + kCurveColumns;
        IPP::Array<float> rows(rowCount * kStride), sums(kCurveRows * kCurveColumns);
        rows.Zero(), sums.Zero();
        std::vector<int> places;
        const std::vector<float> weights(std::size_t(kDistances) * kCurveRows, 1.f);
        for (int k = 0; k < kDistances; ++k) // neighbouring samples read neighbouring rows, a distance the next one
            for (int r = 0; r < kCurveRows; ++r)
                places.push_back((k * std::max(1, rowCount / kDistances) + r) % rowCount * kStride + kDistances);
        Measure(state, [&] {
            IPP::Simd::Active().curveTile(places.data(), weights.data(), kDistances, kDistances - 1, rows.data,
                                          sums.data, kCurveColumns, kCurveColumns);
        });
        constexpr double kTerms = double(2 * kDistances - 1) * kCurveRows * kCurveColumns;
        state.counters["perSecond"] = benchmark::Counter(kTerms, benchmark::Counter::kIsIterationInvariantRate);
    });
}

void AddArrayMigration(const ImageProps& props) {
    AddCurveTiles("FirstCache", 16);    // 10 KiB
    AddCurveTiles("SecondCache", 1024); // 640 KiB
    constexpr float spacing = 0.025f;
    Add("StridedArraySumOfOneLine" + SizeOf(props), [=](benchmark::State& state) {
        Blocks& b = BlocksOf(props);
        auto out = b.out.Slice(0);
        std::int64_t terms = 0;
        for (auto _ : state) terms += StridedArraySum(b.in, out, spacing);
        state.counters["terms"] = benchmark::Counter(double(terms), benchmark::Counter::kAvgIterations);
        state.counters["perSecond"] = benchmark::Counter(double(terms), benchmark::Counter::kIsRate);
    });
    for (const bool antiAlias : {false, true})
        for (const int threads : {1, 2})
            AddAtLevels(std::string("ArrayMigration") + (antiAlias ? "" : "Plain") + SizeOf(props) +
                            "/threads:" + std::to_string(threads),
                        [=](benchmark::State& state) {
                            Blocks& b = BlocksOf(props);
                            omp_set_num_threads(threads);
                            const auto migration = ArrayMigration(spacing, antiAlias);
                            Measure(state, [&] { migration->Execute(b.in.data, props, b.out.data, props); });
                            omp_set_num_threads(1);
                        });
}

/// The migration by phase shift of one B-scan from depth to depth: rotation and sum of every element in one pass, all
/// wavenumbers of a row side by side, real parts ahead of imaginary ones.
#define TZM_EVERY_LEVEL __attribute__((target_clones("default", "avx2,fma", "avx512f")))
TZM_EVERY_LEVEL void FusedRecursion(float* __restrict q, const float* __restrict factors, float* __restrict sums,
                                    int rows, int columns) {
    const std::int64_t stride = 2 * columns;
    std::memset(sums, 0, sizeof(float) * std::size_t(rows * stride));
    for (int z = 0; z < rows; ++z)
        for (int i = 0; i < rows; ++i) {
            float *const re = q + i * stride, *const im = re + columns, *const out = sums + z * stride;
            const float *const c = factors + i * stride, *const s = c + columns;
#pragma omp simd
            for (int x = 0; x < columns; ++x) {
                const float turned = re[x] * c[x] - im[x] * s[x];
                im[x] = re[x] * s[x] + im[x] * c[x];
                re[x] = turned;
                out[x] += turned;
                out[columns + x] += im[x];
            }
        }
}

/// The same in tiles: all depths for a vector of wavenumbers, four frequencies in registers.
constexpr int kWide = 16;
TZM_EVERY_LEVEL void TiledRecursion(float* __restrict q, const float* __restrict factors, float* __restrict sums,
                                    int rows, int columns) {
    const std::int64_t stride = 2 * columns;
    std::memset(sums, 0, sizeof(float) * std::size_t(rows * stride));
    for (int x = 0; x + kWide <= columns; x += kWide)
        for (int i = 0; i + 4 <= rows; i += 4) {
            float re[4][kWide], im[4][kWide], c[4][kWide], s[4][kWide];
            for (int r = 0; r < 4; ++r)
                for (int l = 0; l < kWide; ++l) {
                    re[r][l] = q[(i + r) * stride + x + l];
                    im[r][l] = q[(i + r) * stride + columns + x + l];
                    c[r][l] = factors[(i + r) * stride + x + l];
                    s[r][l] = factors[(i + r) * stride + columns + x + l];
                }
            for (int z = 0; z < rows; ++z) {
                float* const out = sums + z * stride + x;
#pragma omp simd
                for (int l = 0; l < kWide; ++l) {
                    float sumRe = out[l], sumIm = out[columns + l];
#pragma GCC unroll 4
                    for (int r = 0; r < 4; ++r) {
                        const float turned = re[r][l] * c[r][l] - im[r][l] * s[r][l];
                        im[r][l] = re[r][l] * s[r][l] + im[r][l] * c[r][l];
                        re[r][l] = turned;
                        sumRe += turned;
                        sumIm += im[r][l];
                    }
                    out[l] = sumRe;
                    out[columns + l] = sumIm;
                }
            }
        }
}

template <class Recursion>
void AddRecursion(const std::string& name, Recursion recursion, const ImageProps& props) {
    Add(name + SizeOf(props), [=](benchmark::State& state) {
        const int rows = props.samplesPerAscan - 1, columns = (props.ascansPerBscan + kWide - 1) / kWide * kWide;
        Noise noise;
        std::vector<float> q(std::size_t(rows) * 2 * std::size_t(columns)), factors(q.size()), sums(q.size());
        for (std::size_t i = 0; i < q.size(); ++i) {
            q[i] = noise();
            factors[i] = 0.707f; // a turn by an eighth
        }
        const auto down = IPP::FftPlan::Get(rows), across = IPP::FftPlan::Get(columns);
        const int lanes = static_cast<int>(IPP::Simd::ActiveFft().lanes);
        IPP::Array<float> work(static_cast<int>(std::max(down->WorkSize(), across->WorkSize()) + 1)),
            image(2 * lanes * std::max(rows, columns));
        image.Zero();
        const IPP::LaneTarget target{image.data, image.data + lanes, 2 * lanes};
        const IPP::LaneSource source{target.re, target.im, target.stride};
        Measure(state, [&] { // the transforms: along the scan and back for every row, down for every column
            for (int i = 0; i < rows; i += lanes) {
                across->Forward(source, target, work.data);
                across->Inverse(source, target, work.data, 1.f / float(columns));
            }
            for (int i = 0; i < columns; i += lanes) down->Forward(source, target, work.data, 0.f);
            recursion(q.data(), factors.data(), sums.data(), rows, columns);
        });
    });
}

void AddMigration(const std::string& name, const std::shared_ptr<AlgoBase>& algorithm, const ImageProps& props) {
    AddAtLevels(name + SizeOf(props), [=](benchmark::State& state) {
        Blocks& b = BlocksOf(props);
        const auto outProps = algorithm->GetAdjustedImageDimensions(props);
        Measure(state, [&] { algorithm->Execute(b.in.data, props, b.out.data, outProps); });
    });
}

/// The search over 40 permittivities beside a single migration of its line.
void AddFocus() {
    const FocusScene scene;
    AddMigration("Fk", std::make_shared<AlgoFkMigration>(), ImageProps(scene.samples, scene.ascans, 1));
    AddAtLevels("FindPermittivity40", [](benchmark::State& state) {
        const Recording recording = RecordOf(FocusScene());
        FocusOptions options;
        options.timeZero = FocusScene().timeZero;
        options.count = 40;
        Measure(state, [&] { FindPermittivity(recording, options); });
    });
}

bool RegisterAll() {
    omp_set_num_threads(1);
    for (const ImageProps& props : {ImageProps(512, 300, kBscans), ImageProps(1024, 1000, kBscans)}) {
        AddTransformsOfPairs(props);
#ifdef TZM_HAVE_FFTW
        AddFftwTransforms(props);
#endif
    }
    Add("SelectRowByRow", SelectRowByRow);
    Add("FilterRowByRow", FilterRowByRow);
    Add("DirectAutocorrelations", DirectAutocorrelations);
    Add("MeshAutocorrelations", MeshAutocorrelations);
    Add("EnergyWindow", EnergyWindow);
    for (const auto& [samples, ascans] : {std::pair(512, 300), std::pair(1024, 1000)}) {
        const ImageProps props(samples, ascans, 5);
        Add("StridedDiffractionSum" + SizeOf(props), [props](benchmark::State& state) {
            Blocks& b = BlocksOf(props);
            Measure(state, [&] {
                for (int z = 0; z < props.bscanCount; ++z) {
                    auto out = b.out.Slice(z);
                    StridedDiffractionSum(b.in.Slice(z), out);
                }
            });
        });
        AddMigration("Kirchhoff", With<AlgoKirchhoffMigration>(AlgoParamKirchhoffMigration(true, 1, 0, 6.f, "")),
                     props);
    }
    AddArrayMigration(ImageProps(512, 300, kBscans));
    AddMigration("Kirchhoff", With<AlgoKirchhoffMigration>(AlgoParamKirchhoffMigration(true, 1, 0, 6.f, "")),
                 ImageProps(512, 300, kBscans));
    AddMigration("Fk", With<AlgoFkMigration>(AlgoParamFkMigration(true, 1, 0, 6.f, "")), ImageProps(512, 300, kBscans));
    AddMigration("Fk3D", With<AlgoFkMigration3D>(AlgoParamFkMigration3D(true, 1, 0, 6.f, "", 0.025f)),
                 ImageProps(512, 300, kBscans));
    for (const int samples : {128, 512, 1024, 2048}) {
        const ImageProps one(samples, 300, 1);
        AddRecursion("FusedRecursion", FusedRecursion, one);
        AddRecursion("TiledRecursion", TiledRecursion, one);
        AddMigration("Gazdag", std::make_shared<AlgoGazdagMigration>(), one);
        AddMigration("Gazdag", std::make_shared<AlgoGazdagMigration>(), ImageProps(samples, 300, 10));
    }
    AddFocus();
    return true;
}

const bool registered = RegisterAll();

} // namespace
