#include "Algorithms/Gain/AlgoNormalizationCscan.h"

#include <algorithm>

#include "Algorithms/Gain/Stretch.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoNormalizationCscan::defaultMin = 0.0f;
const float AlgoNormalizationCscan::defaultMax = 1.0f;

AlgoParamNormalizationCscan::AlgoParamNormalizationCscan()
    : AlgoParamNormalizationCscan(true, 1, AlgoNormalizationCscan::defaultMin, AlgoNormalizationCscan::defaultMax) {}

AlgoParamNormalizationCscan::AlgoParamNormalizationCscan(bool logging, int level, float min, float max)
    : AlgoParamBase(logging, level), Min(min, &prmListener), Max(max, &prmListener) {}

AlgoNormalizationCscan::AlgoNormalizationCscan(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamNormalizationCscan>>& Sections() {
    using P = AlgoParamNormalizationCscan;
    static const std::vector<JsonSection<P>> sections{{{kOwnSection}, {Real("Min", &P::Min), Real("Max", &P::Max)}}};
    return sections;
}

} // namespace

void AlgoNormalizationCscan::ParseParamsFromJsonConfig() {
    Json::Value root;
    if (ParseJsonDocument(jsonConfig, root)) ReadSections(root, name, Sections(), params);
}

std::vector<JsonKeyInfo> AlgoNormalizationCscan::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamNormalizationCscan());
}

void AlgoNormalizationCscan::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsMinMax_32f");
        std::vector<Stretch::Range> ranges(static_cast<std::size_t>(src.dim2));
        ParallelFor(src.dim2, [&](int i) { ranges[static_cast<std::size_t>(i)] = Stretch::Extremes(src.Slice(i)); });
        Stretch::Range all = ranges.front();
        for (const Stretch::Range& range : ranges) all = {std::min(all.low, range.low), std::max(all.high, range.high)};
        const BlockStreams streams(dst);
        const Stretch stretch(all.low, all.high, params.Min, params.Max);
        ParallelFor(dst.dim2, [&](int i) {
            if (stretch.flat)
                dst.Slice(i).Zero();
            else
                stretch.Apply(src.Slice(i), dst.Slice(i), streams);
        });
    });
}

} // namespace TZM
