#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"

#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

AlgoAscanOffsetRemoval::AlgoAscanOffsetRemoval(const std::string& name) : Algo(name) {
}

void AlgoAscanOffsetRemoval::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const auto src = InputView(in, inProps);
        auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f"); // as a copy of the whole block would
        ParallelFor(dst.dim2, [&](int z) {
            for (int y = 0; y < dst.dim1;
                 ++y) { // while the A-scan is in the first cache: the block crosses the bus once
                auto ascan = dst.Row(y, z);
                ascan.CopyFrom(src.Row(y, z));
                ascan.AddC(-ascan.Mean());
            }
        });
    });
}

} // namespace TZM
