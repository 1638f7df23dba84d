#include "Algorithms/Gain/AlgoEnergyCorrection.h"

#include <cmath>
#include <vector>

#include "Array/Simd/Dispatch.h"
#include "Framework/Channels.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

AlgoEnergyCorrection::AlgoEnergyCorrection(const std::string& name) : Algo(name) {
}

namespace {

// A-scan by A-scan, in the same order on any number of threads.
double Energy(const IPP::Array2D<float>& bscan) {
    double energy = 0.;
    for (int y = 0; y < bscan.dim1; ++y) energy += IPP::Simd::Active().sumOfSquares(bscan.Row(y).data, bscan.dim0);
    return energy;
}

} // namespace

void AlgoEnergyCorrection::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const int channels = GetChannelCount(inProps.bscanCount);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f"); // as a copy of the whole block would

        std::vector<double> energy(static_cast<std::size_t>(src.dim2));
        double* const E = energy.data();
        ParallelFor(src.dim2, [&](int i) { E[i] = Energy(src.Slice(i)); });
        ParallelFor(dst.dim2, [&](int i) {
            if (!IsBistatic(i, channels) || E[i] == 0.) return StreamCopy(src.Slice(i), dst.Slice(i));
            const double factor = std::sqrt((E[i - 1] + E[i + 1]) / (2. * E[i]));
            StreamScaled(src.Slice(i), static_cast<float>(factor), dst.Slice(i));
        });
    });
}

} // namespace TZM
