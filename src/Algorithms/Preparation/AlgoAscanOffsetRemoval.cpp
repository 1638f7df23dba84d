#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"

#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

AlgoAscanOffsetRemoval::AlgoAscanOffsetRemoval(const std::string& name) : Algo(name) {}

void AlgoAscanOffsetRemoval::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f"); // as a copy of the whole block would
        const BlockStreams streams(dst);
        ParallelFor(dst.dim2, [&](int z) {
            for (int y = 0; y < dst.dim1; ++y) streams.Shift(src.Row(y, z), -src.Row(y, z).Mean(), dst.Row(y, z));
            streams.Finish();
        });
    });
}

} // namespace TZM
