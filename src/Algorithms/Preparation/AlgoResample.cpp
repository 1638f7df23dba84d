#include "Algorithms/Preparation/AlgoResample.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "Array/Resampling.h"
#include "Framework/CalcError.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"
#include "Framework/private/Shortest.h"

namespace TZM {

AlgoParamResample::AlgoParamResample() : AlgoParamResample(true, 1, 0.f, 0.f) {}

AlgoParamResample::AlgoParamResample(bool logging, int level, float interval, float spacing)
    : AlgoParamBase(logging, level), deltaT(interval, &prmListener), deltaX(spacing, &prmListener) {}

AlgoResample::AlgoResample(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamResample>>& Sections() {
    using P = AlgoParamResample;
    static const std::vector<JsonSection<P>> sections{
        {{kOwnSection}, {Real("DeltaT", &P::deltaT), Real("DeltaX", &P::deltaX)}}};
    return sections;
}

constexpr double kNanosecond = 1e-9;

/// New intervals in old ones; both are meant as they are written in decimal numbers.
struct Ratios {
    Ratios(const AlgoParamResample& params, const AlgoGlobalSettings& sampling)
        : time(Ratio(Shortest(params.deltaT) * kNanosecond, sampling.delta_t)),
          scan(Ratio(Shortest(params.deltaX), sampling.delta_x)) {}

    static double Ratio(double wanted, float known) { return wanted > 0 && known > 0 ? wanted / Shortest(known) : 1; }

    double time, scan;
};

/// The last of the places 0, 1, .. that lies at `old` or ahead of it.
double LastUpTo(double old, double ratio) { return std::floor(old / ratio * (1 + 1e-12)); }

/// Samples, or A-scans, that lie within `count` old ones; as many as an index counts if they are more.
int CountBehind(int count, double ratio) {
    if (count < 1) return count;
    return static_cast<int>(std::min<double>(LastUpTo(count - 1, ratio) + 1, std::numeric_limits<int>::max()));
}

/// The new A-scans that lie within the old ones of a range.
BscanInfo RangeBehind(const BscanInfo& range, double ratio) {
    if (range.validLen < 1) return {0, 0};
    const double first = std::ceil(range.firstValidIdx / ratio * (1 - 1e-12)),
                 last = LastUpTo(range.firstValidIdx + range.validLen - 1, ratio);
    return {static_cast<int>(first), static_cast<int>(last - first + 1)};
}

void Require(const AlgoParamResample& params, const AlgoGlobalSettings& sampling, const ImageProps& out) {
    if (!(params.deltaT >= 0.f && params.deltaX >= 0.f))
        throw Exception::CalcError(-8, "TZM::Exception::valueSmallerZero");
    if ((params.deltaT > 0.f && !(sampling.delta_t > 0.f)) || (params.deltaX > 0.f && !(sampling.delta_x > 0.f)))
        throw Exception::CalcError(-9, "TZM::Exception::valueSmallerEqualZero");
    if (std::max(out.samplesPerAscan, out.ascansPerBscan) == std::numeric_limits<int>::max())
        throw Exception::CalcError(-12, "TZM::Exception::valueToBig");
}

/// The weights along the scan for a valid range, kept until another one comes.
class AlongTheScan {
public:
    const Resampling& Of(const BscanInfo& range, const BscanInfo& behind, double ratio) {
        if (!weights || of.firstValidIdx != range.firstValidIdx || of.validLen != range.validLen)
            weights.emplace(range.validLen, ratio, behind.firstValidIdx * ratio - range.firstValidIdx, behind.validLen);
        of = range;
        return *weights;
    }

private:
    BscanInfo of;
    std::optional<Resampling> weights;
};

} // namespace

void AlgoResample::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoResample::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoResample::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamResample());
}

ImageProps AlgoResample::DimensionsBehind(const ImageProps& props, const AlgoGlobalSettings& sampling) const {
    const Ratios ratios(params, sampling);
    ImageProps behind = props;
    behind.samplesPerAscan = CountBehind(props.samplesPerAscan, ratios.time);
    behind.ascansPerBscan = CountBehind(props.ascansPerBscan, ratios.scan);
    for (BscanInfo& range : behind.bscanInfo)
        range = RangeBehind(LimitValidRange(range, props.ascansPerBscan), ratios.scan);
    return behind;
}

AlgoGlobalSettings AlgoResample::SamplingBehind(const AlgoGlobalSettings& sampling) const {
    AlgoGlobalSettings behind = sampling;
    if (params.deltaT > 0.f) behind.delta_t = static_cast<float>(Shortest(params.deltaT) * kNanosecond);
    if (params.deltaX > 0.f) behind.delta_x = params.deltaX;
    return behind;
}

ImageProps AlgoResample::GetAdjustedImageDimensions(const ImageProps& props) const {
    return DimensionsBehind(props, globalSettings);
}

void AlgoResample::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const ImageProps behind = GetAdjustedImageDimensions(inProps);
        Require(params, globalSettings, behind);
        const auto src = InputView(in, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        const auto dst = OutputView(out, behind);
        const Ratios ratios(params, globalSettings);
        const Resampling inTime(src.dim0, ratios.time);
        const bool times = ratios.time != 1, scans = ratios.scan != 1;
        struct Work {
            IPP::Array2D<float> ascans; ///< with the new interval, at the old places
            AlongTheScan scan;
        };
        ParallelFor(
            dst.dim2,
            [&] {
                return Work{{times && scans ? dst.dim0 : 1, times && scans ? src.dim1 : 1}, {}};
            },
            [&](int z, Work& work) {
                const BscanInfo range = ValidRange(inProps, z), there = RangeBehind(range, ratios.scan);
                auto image = dst.Slice(z);
                image.Zero();
                if (there.validLen < 1) return;
                const float* ascans = src.Row(range.firstValidIdx, z).data;
                float* const places = dst.Row(there.firstValidIdx, z).data;
                if (times) {
                    float* const inNewTimes = scans ? work.ascans.data : places;
                    for (std::int64_t y = 0; y < range.validLen; ++y)
                        inTime.Apply(ascans + y * src.dim0, inNewTimes + y * dst.dim0);
                    ascans = inNewTimes;
                }
                if (scans)
                    work.scan.Of(range, there, ratios.scan).ApplyToRows(ascans, dst.dim0, places);
                else if (!times)
                    std::copy_n(ascans, std::int64_t{range.validLen} * dst.dim0, places);
            });
    });
}

} // namespace TZM
