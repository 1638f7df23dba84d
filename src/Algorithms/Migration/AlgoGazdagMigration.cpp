#include "Algorithms/Migration/AlgoGazdagMigration.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "Algorithms/Migration/MigrationBlocks.h"
#include "Algorithms/Migration/PhaseShift.h"
#include "Algorithms/Migration/TaperWindow.h"
#include "Algorithms/Migration/TransformSize.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const bool AlgoParamGazdagMigration::defaultUseFFT = false;
const bool AlgoParamGazdagMigration::defaultUseTaper = false;

AlgoParamGazdagMigration::AlgoParamGazdagMigration()
    : AlgoParamGazdagMigration(true, 1, defaultTimeZero, defaultPermittivity, "", defaultUseFFT, defaultUseTaper) {}

AlgoParamGazdagMigration::AlgoParamGazdagMigration(bool logging, int level, int samples, float relative,
                                                   const std::string& layers, bool fft, bool taper)
    : AlgoParamMigrationBase(logging, level, samples, relative, layers), useFFT(fft, &prmListener),
      useTaper(taper, &prmListener) {}

AlgoGazdagMigration::AlgoGazdagMigration(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamGazdagMigration>>& Sections() {
    using P = AlgoParamGazdagMigration;
    static const std::vector<JsonSection<P>> sections{
        {{kOwnSection}, {Boolean("UseFFT", &P::useFFT), Boolean("UseTaper", &P::useTaper)}}};
    return sections;
}

} // namespace

void AlgoGazdagMigration::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoGazdagMigration::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoGazdagMigration::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamGazdagMigration());
}

ImageProps AlgoGazdagMigration::GetAdjustedImageDimensions(const ImageProps& props) const {
    return MigratedProps(props, params.timeZero);
}

void AlgoGazdagMigration::BuildRmsVelocityVector(IPP::Array<float>& velocity, float deltaT, float depth,
                                                 float startVelocity, float endVelocity) const {
    const float mean = (startVelocity + endVelocity) * 0.5f;
    if (!(mean > 0.f && deltaT > 0.f)) return velocity.Zero();
    const double n = std::trunc(2.f * depth / deltaT / mean);
    const float step = n > 1. ? (endVelocity - startVelocity) / static_cast<float>(n - 1.) : 0.f;
    IPP::Array<float> interval(velocity.size);
    interval.Set(endVelocity);
    for (int i = 0; n > 1. && i < n && i < interval.size; ++i)
        interval[i] = static_cast<float>(i) * step + startVelocity;
    velocity.RootMeanSquare(interval, deltaT);
}

void AlgoGazdagMigration::BuildCfactorTable(IPP::Array2D<IPP::Ipp32fc>& table, IPP::Array<float>& velocity, int rows,
                                            int columns, float permittivity, float deltaX2, float deltaT) const {
    RequirePermittivity(permittivity);
    IPP::Require(velocity.size >= rows && table.size >= std::int64_t{rows} * columns,
                 "Index exceeds IPP::Array2D bounds");
    const auto omega = SpectralAxis(rows, double{deltaT}), k = SpectralAxis(columns, double{deltaX2});
    for (int i = 0; i < rows; ++i)
        for (int x = 0; x < columns; ++x) {
            const double phase = PhaseOf(omega[std::size_t(i)], k[std::size_t(x)], double{velocity[i]}, double{deltaT});
            table[i * columns + x] =
                phase == 0. ? IPP::Ipp32fc{0.f, 0.f}
                            : IPP::Ipp32fc{static_cast<float>(std::cos(phase)), static_cast<float>(std::sin(phase))};
        }
}

namespace {

constexpr float kRampDepth = 0.08f; // m, within which the speed falls

} // namespace

void AlgoGazdagMigration::Execute(const float* in, const ImageProps& inProps, float* out,
                                  const ImageProps& outProps) const {
    RequirePermittivity(params.permittivity);
    if (params.useFFT) return ExecuteFFT(in, inProps, out, outProps);
    RunExecute([&] {
        const int timeZero = params.timeZero;
        const MigrationBlocks blocks(in, inProps, out, timeZero);
        const int samples = blocks.dst.dim0, ascans = blocks.dst.dim1;
        const auto speed = static_cast<float>(3e8 / std::sqrt(static_cast<double>(params.permittivity.value)));
        IPP::Array<float> velocity(samples);
        BuildRmsVelocityVector(velocity, globalSettings.delta_t, kRampDepth, 1.2f * speed, 0.95f * speed);
        std::vector<float> taper;
        if (params.useTaper) {
            taper.resize(static_cast<std::size_t>(ascans));
            IPP::Array<float> window(taper.data(), ascans);
            TaperWindow{std::min(ascans / 10, 20), 0, 1.0f}.Apply(window);
        }
        const auto shared = phaseShift.For(
            PhaseShiftSettings{samples, ascans, samples, globalSettings.delta_t, 2.f * globalSettings.delta_x, false},
            velocity);
        const PhaseShift& shift = *shared;
        ParallelFor(
            blocks.dst.dim2, [&] { return PhaseShift::Work(shift); },
            [&](int b, PhaseShift::Work& work) {
                shift.Migrate(blocks.src.Slice(b), timeZero, taper, true, blocks.dst.Slice(b), work);
            });
    });
}

namespace {

/// The order of the transform along the scan: a power of two that isn't below the number of A-scans, or the one below
/// it if no more than an eighth of them is lost.
int OrderAlongScan(int ascans) {
    const int order = CeilLog2(ascans);
    return order > 0 && ascans - (1 << (order - 1)) <= ascans >> 3 ? order - 1 : order;
}

} // namespace

void AlgoGazdagMigration::ExecuteFFT(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const int timeZero = params.timeZero;
        const MigrationBlocks blocks(in, inProps, out, timeZero);
        const int samples = blocks.dst.dim0, ascans = blocks.dst.dim1;
        const int rows = 1 << CeilLog2(samples), columns = 1 << OrderAlongScan(ascans);
        const int used = std::min(ascans, columns), first = (ascans - used) / 2;
        const auto speed = static_cast<float>(3e8 / std::sqrt(static_cast<double>(params.permittivity.value)));
        IPP::Array<float> velocity(rows);
        BuildRmsVelocityVector(velocity, globalSettings.delta_t, kRampDepth, static_cast<float>(1.2 * double(speed)),
                               static_cast<float>(0.95 * double(speed)));
        const auto shared = phaseShift.For(
            PhaseShiftSettings{rows, columns, samples, globalSettings.delta_t, 2.f * globalSettings.delta_x, true},
            velocity);
        const PhaseShift& shift = *shared;
        ParallelFor(
            blocks.dst.dim2, [&] { return PhaseShift::Work(shift); },
            [&](int b, PhaseShift::Work& work) {
                if (used < ascans) blocks.dst.Slice(b).Zero();
                const IPP::Array2D<float> record(blocks.src.Row(first, b).data, blocks.src.dim0, used),
                    image(blocks.dst.Row(first, b).data, samples, used);
                shift.Migrate(record, timeZero, {}, false, image, work);
            });
    });
}

} // namespace TZM
