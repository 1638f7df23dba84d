#include "Algorithms/Background/AlgoSlidingBackground.h"

#include <algorithm>

#include "Algorithms/Background/DepthRows.h"
#include "Array/Simd/Dispatch.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
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

/// Takes the means of the windows of `half` A-scans on each side off. The A-scans lie in groups as long as a window,
/// which then is the end of one group and the beginning of the next: no sum owes anything to what lies outside its
/// window (M. van Herk, Pattern Recognition Letters 13 (1992), 517-521, who takes maxima). Depths go in strips whose
/// sums stay in the caches.
void TakeOffMeans(const IPP::Array2D<float>& src, int half, const BlockStreams& streams,
                  const IPP::Array2D<float>& dst) {
    constexpr int kSums = 8 << 10; // 64 KiB
    const auto& kernels = IPP::Simd::Active();
    const int ascans = src.dim1, window = 2 * std::min(half, ascans - 1) + 1, reach = window / 2;
    const int width = std::min(src.dim0, std::max(64, kSums / window / 64 * 64));
    const IPP::Array2D<double> ends(width, window + 1);
    const IPP::Array<double> beginning(width);
    const IPP::Array<float> level(width);
    for (int first = 0; first < src.dim0; first += width) {
        const int count = std::min(width, src.dim0 - first);
        const auto add = [&](int y, const double* sums, double* to) { // an A-scan beyond the line adds nothing
            if (y >= 0 && y < ascans)
                kernels.addWide(&src.At(first, y), sums, to, count);
            else if (sums != to)
                std::copy_n(sums, count, to);
        };
        for (int group = 0; group < ascans; group += window) { // the windows around its A-scans begin `reach` earlier
            std::fill_n(&ends.At(0, window), count, 0.);
            for (int r = window - 1; r >= 0; --r) add(group - reach + r, &ends.At(0, r + 1), &ends.At(0, r));
            std::fill_n(beginning.data, count, 0.);
            for (int y = group; y < std::min(group + window, ascans); ++y) {
                if (y > group) add(y + reach, beginning.data, beginning.data);
                const int held = std::min(y + reach, ascans - 1) - std::max(y - reach, 0) + 1;
                kernels.sumsScaled(&ends.At(0, y - group), beginning.data, -1. / held, level.data, count);
                streams.Add(IPP::Array<float>(&src.At(first, y), count), level.data,
                            IPP::Array<float>(&dst.At(first, y), count));
            }
        }
    }
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
