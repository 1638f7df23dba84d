#include "Algorithms/Reduction/AlgoVerticalSumUp.h"

#include <algorithm>

#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const int AlgoVerticalSumUp::defaultThickness = AlgoParamSumUp::defaultThickness;
const bool AlgoVerticalSumUp::defaultUseMax = AlgoParamSumUp::defaultUseMax;

AlgoVerticalSumUp::AlgoVerticalSumUp(const std::string& name) : Algo(name) {}

void AlgoVerticalSumUp::ParseParamsFromJsonConfig() {
    ReadSumUpKeys("AlgoVerticalSumUp::ParseParamsFromJsonConfig", name, params);
}

void AlgoVerticalSumUp::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        const int thickness = std::min(std::max<int>(params.Thickness, 1), src.dim0);
        RefuseEmpty(src, thickness == 1 ? "IPP::Exception::ippsCopy_32f" : "IPP::Exception::ippsZero_32f");
        if (thickness == 1) return CopyBlock(src, dst);

        const SumUpWindow window(src.dim0, 1, thickness, 0, params.UseMax);
        ParallelFor(
            dst.dim2, [&] { return IPP::Array<float>(window.WorkSize()); },
            [&](int i, IPP::Array<float>& work) {
                for (int y = 0; y < dst.dim1; ++y)
                    window.Reduce(src.Row(y, i).data, 1, dst.Row(y, i).data, 1, work.data);
            });
    });
}

} // namespace TZM
