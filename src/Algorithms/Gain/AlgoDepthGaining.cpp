#include "Algorithms/Gain/AlgoDepthGaining.h"

#include <algorithm>

#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const int AlgoDepthGaining::defaultStart = 0;
const int AlgoDepthGaining::defaultApex = 0;
const int AlgoDepthGaining::defaultEnd = 0;
const float AlgoDepthGaining::defaultStartGain = 1.0f;
const float AlgoDepthGaining::defaultApexGain = 1.0f;
const float AlgoDepthGaining::defaultEndGain = 1.0f;

AlgoParamDepthGaining::AlgoParamDepthGaining()
    : AlgoParamDepthGaining(true, 1, AlgoDepthGaining::defaultStart, AlgoDepthGaining::defaultApex,
                            AlgoDepthGaining::defaultEnd, AlgoDepthGaining::defaultStartGain,
                            AlgoDepthGaining::defaultApexGain, AlgoDepthGaining::defaultEndGain) {}

AlgoParamDepthGaining::AlgoParamDepthGaining(bool logging, int level, int start, int apex, int end, float startGain,
                                             float apexGain, float endGain)
    : AlgoParamBase(logging, level), Start(start, &prmListener), Apex(apex, &prmListener), End(end, &prmListener),
      StartGain(startGain, &prmListener), ApexGain(apexGain, &prmListener), EndGain(endGain, &prmListener) {}

AlgoDepthGaining::AlgoDepthGaining(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamDepthGaining>>& Sections() {
    using P = AlgoParamDepthGaining;
    static const std::vector<JsonSection<P>> sections{{{kOwnSection},
                                                       {
                                                           Integral("Start", &P::Start),
                                                           Integral("Apex", &P::Apex),
                                                           Integral("End", &P::End),
                                                           Real("StartGain", &P::StartGain),
                                                           Real("ApexGain", &P::ApexGain),
                                                           Real("EndGain", &P::EndGain),
                                                       }}};
    return sections;
}

} // namespace

void AlgoDepthGaining::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoDepthGaining::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoDepthGaining::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamDepthGaining());
}

void AlgoDepthGaining::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        const int last = src.dim0 - 1, wantedEnd = params.End, wantedApex = params.Apex;
        const int start = std::clamp<int>(params.Start, 0, last);
        const int end = std::clamp(wantedEnd == -1 ? last : wantedEnd, start, last);
        const int apex = std::clamp(wantedApex == -1 ? end : wantedApex, start, end);
        const float startGain = params.StartGain, apexGain = params.ApexGain, endGain = params.EndGain;
        if (start == end || (startGain == 1.f && apexGain == 1.f && endGain == 1.f)) return CopyBlock(src, dst);

        const float rise = apex > start ? (apexGain - startGain) / static_cast<float>(apex - start) : 0.f;
        const float fall = end > apex ? (apexGain - endGain) / static_cast<float>(end - apex) : 0.f;
        const IPP::Array<float> factors(src.dim0);
        for (int i = 0; i <= last; ++i)
            factors[i] = i < start   ? startGain
                         : i < apex  ? startGain + static_cast<float>(i - start) * rise
                         : i == apex ? apexGain // also where the slope behind it isn't finite
                         : i <= end  ? apexGain - static_cast<float>(i - apex) * fall
                                     : endGain;
        const BlockStreams streams(dst);
        ParallelFor(dst.dim2, [&](int i) {
            for (int y = 0; y < dst.dim1; ++y) streams.Product(src.Row(y, i), factors, dst.Row(y, i));
            streams.Finish();
        });
    });
}

} // namespace TZM
