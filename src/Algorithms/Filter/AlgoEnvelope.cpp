#include "Algorithms/Filter/AlgoEnvelope.h"

#include <cmath>
#include <utility>

#include "Array/Primitives/MirroredRows.h"
#include "Array/Simd/AscanKernels.h"
#include "Framework/private/FewAscans.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

using Kind = AlgoParamEnvelope::Kind;

const Kind AlgoEnvelope::defaultKind = AlgoParamEnvelope::Magnitude;

AlgoParamEnvelope::AlgoParamEnvelope() : AlgoParamEnvelope(true, 1, AlgoEnvelope::defaultKind) {}

AlgoParamEnvelope::AlgoParamEnvelope(bool logging, int level, Kind attribute)
    : AlgoParamBase(logging, level), kind(attribute, &prmListener) {}

AlgoEnvelope::AlgoEnvelope(const std::string& name) : Algo(name) {}

namespace {

void ReadKind(AlgoParamEnvelope& params, const Json::Value& value) {
    constexpr std::pair<const char*, Kind> words[] = {{"magnitude", AlgoParamEnvelope::Magnitude},
                                                      {"phase", AlgoParamEnvelope::Phase},
                                                      {"frequency", AlgoParamEnvelope::Frequency}};
    for (const auto& [word, kind] : words)
        if (AsString(&value) == word) params.kind = kind;
}

const std::vector<JsonSection<AlgoParamEnvelope>>& Sections() {
    static const std::vector<JsonSection<AlgoParamEnvelope>> sections{{{kOwnSection}, {Keyword("Kind", &ReadKind)}}};
    return sections;
}

/// The attributes of a few A-scans at a time.
class Attributes {
public:
    Attributes(const IPP::MirroredHilbert& transform, Kind attribute, float deltaT)
        : rows(transform.Length(), transform.RowsAtATime()), hilbert(transform), kind(attribute),
          toMegahertz(static_cast<float>(1e-6 / (2. * M_PI * static_cast<double>(deltaT)))), work(hilbert),
          steps(hilbert.Length()) {}

    void Of(const IPP::Array2D<float>& ascans, const AscanTarget& target) {
        if (kind != AlgoParamEnvelope::Phase && kind != AlgoParamEnvelope::Frequency)
            return hilbert.Envelopes(ascans.data, ascans.dim0, ascans.dim1, target, work.Get());
        hilbert.Transforms(ascans.data, ascans.dim0, ascans.dim1, {rows.data, rows.dim0}, work.Get());
        for (int y = 0; y < ascans.dim1; ++y) {
            float* const row = rows.Row(y).data;
            if (kind == AlgoParamEnvelope::Phase)
                kernels.phases(ascans.Row(y).data, row, row, rows.dim0);
            else
                ToFrequency(ascans.Row(y).data, row);
            target.Put(y, row);
        }
    }

    const IPP::Array2D<float> rows; ///< for as many as are worked on at a time

private:
    /// x + i h becomes the frequency, which takes the place of h.
    void ToFrequency(const float* x, float* h) {
        const int last = rows.dim0 - 1;
        steps[last] = 0.f;
        if (last > 0) {
            kernels.phaseSteps(x, h, steps.data, last);
            steps[last] = steps[last - 1];
        } else if (std::isnan(h[0])) {
            steps[0] = h[0];
        }
        h[0] = steps[0] * toMegahertz;
        for (int s = 1; s <= last; ++s) h[s] = 0.5f * (steps[s - 1] + steps[s]) * toMegahertz;
    }

    const IPP::Simd::AscanKernels& kernels = IPP::Simd::ActiveAscan();
    const IPP::MirroredHilbert& hilbert;
    Kind kind;
    float toMegahertz; ///< of radians between samples
    IPP::MirroredWork work;
    IPP::Array<float> steps;
};

} // namespace

void AlgoEnvelope::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoEnvelope::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoEnvelope::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamEnvelope());
}

void AlgoEnvelope::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        const IPP::MirroredHilbert hilbert(src.dim0);
        const BlockStreams streams(dst);
        ParallelFor(
            dst.dim2, [&] { return Attributes(hilbert, params.kind, globalSettings.delta_t); },
            [&](int z, Attributes& attributes) {
                ForFewAscans(ValidAscans(src, dst, inProps, z), hilbert.RowsAtATime(), attributes.rows, streams,
                             [&](const auto& ascans, const auto& target) { attributes.Of(ascans, target); });
            });
    });
}

} // namespace TZM
