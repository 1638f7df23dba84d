#include "Algorithms/Gain/AlgoNormalizationCscan.h"

#include <algorithm>

#include "Algorithms/Gain/Stretch.h"
#include "Framework/private/BlockParts.h"
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

namespace {

const BlockFindings::Table& Extremes() {
    static const BlockFindings::Table table{
        "AlgoNormalizationCscan", {{"Low", BlockFindings::Kind::Float}, {"High", BlockFindings::Kind::Float}}};
    return table;
}

/// The extremes of every B-scan of a part.
BlockFindings ExtremesOf(const BlockView& src, const BlockPart& part) {
    RefuseEmpty(src, "IPP::Exception::ippsMinMax_32f");
    std::vector<Stretch::Range> ranges(static_cast<std::size_t>(src.dim2));
    ParallelFor(src.dim2, [&](int i) { ranges[static_cast<std::size_t>(i)] = Stretch::Extremes(src.Slice(i)); });
    BlockFindings found(Extremes(), part.blockBscans);
    int bscan = part.firstBscan;
    for (const Stretch::Range& range : ranges) found.Put(bscan++, {range.low, range.high});
    return found;
}

Stretch::Range ExtremesOf(const BlockFindings& all) {
    const auto of = [&](int i) {
        const std::vector<double>& row = all.Row(i);
        return Stretch::Range{static_cast<float>(row[0]), static_cast<float>(row[1])};
    };
    Stretch::Range range = of(0);
    for (int i = 0; i < all.BlockBscans(); ++i)
        range = {std::min(range.low, of(i).low), std::max(range.high, of(i).high)};
    return range;
}

void StretchBlock(const BlockView& src, const Stretch& stretch, const BlockView& dst) {
    const BlockStreams streams(dst);
    ParallelFor(dst.dim2, [&](int i) {
        if (stretch.flat)
            dst.Slice(i).Zero();
        else
            stretch.Apply(src.Slice(i), dst.Slice(i), streams);
    });
}

} // namespace

void AlgoNormalizationCscan::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        const Stretch::Range range = ExtremesOf(ExtremesOf(src, WholeBlock(inProps)));
        StretchBlock(src, Stretch(range.low, range.high, params.Min, params.Max), dst);
    });
}

const BlockFindings::Table& AlgoNormalizationCscan::FindingsTable() const { return Extremes(); }

BlockFindings AlgoNormalizationCscan::Look(const float* in, const ImageProps& partProps, const BlockPart& part) const {
    BlockFindings found;
    RequirePart(part, partProps);
    RunExecute([&] { found = ExtremesOf(InputView(in, partProps), part); });
    return found;
}

void AlgoNormalizationCscan::Work(const float* in, const ImageProps& partProps, const BlockPart& part,
                                  const BlockFindings& all, float* out, const ImageProps&) const {
    RequirePart(part, partProps);
    all.RequireAll(Extremes(), part.blockBscans);
    RunExecute([&] {
        const auto src = InputView(in, partProps);
        const auto dst = OutputView(out, partProps);
        RefuseEmpty(src, "IPP::Exception::ippsMinMax_32f");
        const Stretch::Range range = ExtremesOf(all);
        StretchBlock(src, Stretch(range.low, range.high, params.Min, params.Max), dst);
    });
}

} // namespace TZM
