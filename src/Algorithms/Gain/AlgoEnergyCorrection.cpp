#include "Algorithms/Gain/AlgoEnergyCorrection.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "Array/Simd/Dispatch.h"
#include "Framework/Channels.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

AlgoEnergyCorrection::AlgoEnergyCorrection(const std::string& name) : Algo(name) {}

namespace {

double Energy(const IPP::Array<float>& samples) { return IPP::Simd::Active().sumOfSquares(samples.data, samples.size); }

// Piece by piece, so that a piece comes from memory once.
double CopyWithEnergy(const IPP::Array<float>& src, const IPP::Array<float>& dst, const BlockStreams& streams) {
    constexpr int kPiece = 64 << 10; // 256 KiB
    double energy = 0.;
    for (std::int64_t start = 0; start < src.size; start += kPiece) {
        const int first = static_cast<int>(start), count = std::min(kPiece, src.size - first);
        const auto piece = src.SubArray(first, count);
        energy += Energy(piece);
        streams.Copy(piece, dst.SubArray(first, count));
    }
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
        const BlockStreams streams(dst);
        ParallelFor(dst.dim2, [&](int i) {
            E[i] = IsBistatic(i, channels) ? Energy(src.Slice(i)) : CopyWithEnergy(src.Slice(i), dst.Slice(i), streams);
        });
        ParallelFor(dst.dim2, [&](int i) {
            if (!IsBistatic(i, channels)) return;
            const bool silent = static_cast<float>(E[i]) == 0.f; // a factor for it might not be a float
            const double factor = silent ? 1. : std::sqrt((E[i - 1] + E[i + 1]) / (2. * E[i]));
            streams.Scale(src.Slice(i), static_cast<float>(factor), dst.Slice(i));
        });
    });
}

} // namespace TZM
