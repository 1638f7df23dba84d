#include "Algorithms/Reduction/AlgoHorizontalSumUp.h"

#include <algorithm>

#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const int AlgoHorizontalSumUp::defaultThickness = AlgoParamSumUp::defaultThickness;
const bool AlgoHorizontalSumUp::defaultUseMax = AlgoParamSumUp::defaultUseMax;

AlgoHorizontalSumUp::AlgoHorizontalSumUp(const std::string& name) : Algo(name) {}

void AlgoHorizontalSumUp::ParseParamsFromJsonConfig() {
    ReadSumUpKeys("AlgoHorizontalSumUp::ParseParamsFromJsonConfig", name, params);
}

void AlgoHorizontalSumUp::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        const int thickness = std::min(std::max<int>(params.Thickness, 1), src.dim2);
        RefuseEmpty(src, thickness == 1 ? "IPP::Exception::ippsCopy_32f" : "IPP::Exception::ippsZero_32f");
        if (thickness == 1) return CopyBlock(src, dst);

        // Strips of points, each across all B-scans, so that the windows stay in the cache.
        const int points = src.dim0 * src.dim1, strip = std::min(points, 256);
        ParallelFor((points - 1) / strip + 1,
                    [&] { return IPP::Array<float>(SumUpWindow(src.dim2, strip, thickness, 0, false).WorkSize()); },
                    [&](int k, IPP::Array<float>& work) {
                        const int first = k * strip, width = std::min(strip, points - first);
                        const SumUpWindow window(src.dim2, width, thickness, thickness / 2, params.UseMax);
                        window.Reduce(src.data + first, points, dst.data + first, points, work.data);
                    });
    });
}

} // namespace TZM
