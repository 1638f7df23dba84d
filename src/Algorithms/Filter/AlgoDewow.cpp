#include "Algorithms/Filter/AlgoDewow.h"

#include <algorithm>

#include "Algorithms/Background/DepthRows.h"
#include "Framework/private/FewAscans.h"
#include "Framework/private/HalfWindow.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoDewow::defaultWindow = 10.f;

AlgoParamDewow::AlgoParamDewow() : AlgoParamDewow(true, 1, AlgoDewow::defaultWindow, false) {}

AlgoParamDewow::AlgoParamDewow(bool logging, int level, float nanoseconds, bool takesMedian)
    : AlgoParamBase(logging, level), window(nanoseconds, &prmListener), median(takesMedian, &prmListener) {}

AlgoDewow::AlgoDewow(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamDewow>>& Sections() {
    using P = AlgoParamDewow;
    static const std::vector<JsonSection<P>> sections{
        {{kOwnSection}, {Real("Window", &P::window), Boolean("Median", &P::median)}}};
    return sections;
}

} // namespace

void AlgoDewow::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoDewow::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoDewow::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamDewow());
}

void AlgoDewow::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        RequireAboveZero(params.window);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        const int half = HalfWindow(static_cast<double>(params.window),
                                    1e9 * static_cast<double>(globalSettings.delta_t), src.dim0 - 1);
        const BlockStreams streams(dst);
        if (params.median) {
            ParallelFor(dst.dim2, [&](int z) {
                const ValidAscans valid(src, dst, inProps, z);
                valid.ZeroTheOthers();
                if (valid.count > 0) TakeOffLocalMedians(RowsOfDepths(valid.src), half, RowsOfDepths(valid.dst));
            });
            return;
        }
        ParallelFor(
            dst.dim2, [&] { return WindowLanes(src.dim0, half); },
            [&](int z, const WindowLanes& work) {
                work.Run(ValidAscans(src, dst, inProps, z), streams,
                         [](const auto&, const auto& windows) { IPP::Simd::ActiveAscan().lessMeans(windows); });
            });
    });
}

} // namespace TZM
