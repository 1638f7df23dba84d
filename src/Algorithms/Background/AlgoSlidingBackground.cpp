#include "Algorithms/Background/AlgoSlidingBackground.h"

#include <algorithm>

#include "Algorithms/Background/DepthRows.h"
#include "Framework/private/FewAscans.h"
#include "Framework/private/HalfWindow.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoSlidingBackground::defaultWindow = 2.f;

AlgoParamSlidingBackground::AlgoParamSlidingBackground()
    : AlgoParamSlidingBackground(true, 1, AlgoSlidingBackground::defaultWindow, false) {}

AlgoParamSlidingBackground::AlgoParamSlidingBackground(bool logging, int level, float metres, bool takesMedian)
    : AlgoParamBase(logging, level), window(metres, &prmListener), median(takesMedian, &prmListener) {}

AlgoSlidingBackground::AlgoSlidingBackground(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamSlidingBackground>>& Sections() {
    using P = AlgoParamSlidingBackground;
    static const std::vector<JsonSection<P>> sections{
        {{kOwnSection}, {Real("Window", &P::window), Boolean("Median", &P::median)}}};
    return sections;
}

/// Takes the means of the windows of `half` A-scans on each side off, in strips of neighbouring depths: the first one
/// as far as the next line of the cache, the last one as far as the first sample behind its beginning that is new.
void TakeOffMeans(const IPP::Array2D<float>& src, int half, const BlockStreams& streams,
                  const IPP::Array2D<float>& dst) {
    constexpr int kStrip = IPP::Simd::kStripLanes;
    const int samples = src.dim0, ascans = src.dim1;
    if (samples < kStrip) { // beside zeros
        IPP::Array2D<float> wide(kStrip, ascans), result(kStrip, ascans);
        wide.Zero();
        for (int y = 0; y < ascans; ++y) std::copy_n(&src.At(0, y), samples, &wide.At(0, y));
        TakeOffMeans(wide, half, streams, result);
        for (int y = 0; y < ascans; ++y) std::copy_n(&result.At(0, y), samples, &dst.At(0, y));
        return;
    }
    const WindowMemory windows(ascans, std::min(half, ascans - 1), kStrip);
    const bool past = streams.past && samples % 16 == 0; // all lines of the cache begin at the same samples
    const auto strip = [&](int first, bool lines) {
        IPP::Simd::ActiveAscan().lessStripMeans(windows, &src.At(first, 0), samples, &dst.At(first, 0), samples, lines);
    };
    int first = past ? BeforeLine(dst.data) : 0;
    if (first > 0) strip(0, false);
    for (; first + kStrip <= samples; first += kStrip) strip(first, past);
    if (first < samples) strip(samples - kStrip, false);
    streams.Finish();
}

} // namespace

void AlgoSlidingBackground::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoSlidingBackground::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoSlidingBackground::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamSlidingBackground());
}

void AlgoSlidingBackground::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        RequireAboveZero(params.window);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        const int half =
            HalfWindow(static_cast<double>(params.window), static_cast<double>(globalSettings.delta_x), src.dim1);
        const BlockStreams streams(dst);
        ParallelFor(dst.dim2, [&](int z) {
            const ValidAscans valid(src, dst, inProps, z);
            valid.ZeroTheOthers();
            if (valid.count == 0) return;
            if (params.median)
                TakeOffLocalMedians(RowsOfAscans(valid.src), half, RowsOfAscans(valid.dst));
            else
                TakeOffMeans(valid.src, half, streams, valid.dst);
        });
    });
}

} // namespace TZM
