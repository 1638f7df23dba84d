#pragma once

#include "Array/Simd/Dispatch.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

/// Writes runs of a block's output, past the caches unless the block and its input would stay in those of a core: a
/// cached store first fetches the line that it overwrites, half as much traffic again. Sizes are equal; the areas don't
/// overlap.
class BlockStreams {
public:
    explicit BlockStreams(const BlockView& block) : past(block.size > kKept) {}

    void Copy(const IPP::Array<float>& src, const IPP::Array<float>& dst) const {
        kernels.streamCopy(src.data, dst.data, src.size, past);
        Finish();
    }

    /// dst = factor * src + summand
    void Affine(const IPP::Array<float>& src, float factor, float summand, const IPP::Array<float>& dst) const {
        kernels.streamAffine(factor, summand, src.data, dst.data, src.size, past);
        Finish();
    }

    void Scale(const IPP::Array<float>& src, float factor, const IPP::Array<float>& dst) const {
        kernels.streamMulC(factor, src.data, dst.data, src.size, past);
        Finish();
    }

    // For A-scan after A-scan; Finish() completes them.

    void Product(const IPP::Array<float>& src, const IPP::Array<float>& factors, const IPP::Array<float>& dst) const {
        kernels.streamProduct(src.data, factors.data, dst.data, src.size, past);
    }

    /// dst = src + summand
    void Shift(const IPP::Array<float>& src, float summand, const IPP::Array<float>& dst) const {
        kernels.streamAffine(1.f, summand, src.data, dst.data, src.size, past);
    }

    void Add(const IPP::Array<float>& src, const float* summands, const IPP::Array<float>& dst) const {
        SumScaled(src, summands, 1.f, dst);
    }

    /// dst = (src + summands) * factor
    void SumScaled(const IPP::Array<float>& src, const float* summands, float factor,
                   const IPP::Array<float>& dst) const {
        kernels.streamSumScaled(src.data, summands, factor, dst.data, src.size, past);
    }

    /// Makes what has gone past the caches complete for every thread.
    void Finish() const {
        if (past) __builtin_ia32_sfence();
    }

    static constexpr int kKept = 512 << 10; ///< samples: 2 MiB, as much again for the input
    const IPP::Simd::Kernels& kernels = IPP::Simd::Active();
    const bool past;
};

/// Copies a whole block.
inline void CopyBlock(const BlockView& src, const BlockView& dst) {
    const BlockStreams streams(dst);
    ParallelFor(dst.dim2, [&](int i) { streams.Copy(src.Slice(i), dst.Slice(i)); });
}

} // namespace TZM
