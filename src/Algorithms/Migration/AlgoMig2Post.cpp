#include "Algorithms/Migration/AlgoMig2Post.h"

#include "Array/Envelopes.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

AlgoMig2Post::AlgoMig2Post(const std::string& name) : Algo(name) {}

void AlgoMig2Post::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        const IPP::HilbertState state(src.dim0, IPP::ippAlgHintAccurate);
        RefuseEmpty(src, "IPP::Exception::ippsMinMax_32f"); // the range check of the first A-scan
        ParallelFor(
            dst.dim2, [&] { return IPP::EnvelopeWork(state, dst.dim1); },
            [&](int z, IPP::Array<float>& work) { IPP::Envelopes(src.Slice(z), dst.Slice(z), state, work); });
    });
}

} // namespace TZM
