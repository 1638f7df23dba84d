#pragma once

#include "Array/Array2D.h"
#include "Array/Simd/Dispatch.h"

namespace TZM {

/// Runs from here on (256 KiB) are written past the caches: nobody reads them soon, and a cached store would first
/// fetch the line that it overwrites, half as much traffic again.
constexpr int kWorthStreaming = 64 << 10;

/// Makes what a kernel has written past the caches complete for every thread.
inline void FinishStreams() { __builtin_ia32_sfence(); }

/// Copies a B-scan, or a run of one, into the output block. Sizes are equal; the areas don't overlap.
inline void StreamCopy(const IPP::Array<float>& src, IPP::Array<float>&& dst) {
    if (src.size < kWorthStreaming) return dst.CopyFrom(src);
    IPP::Simd::Active().streamCopy(src.data, dst.data, src.size);
}

/// The same with every sample multiplied by factor.
inline void StreamScaled(const IPP::Array<float>& src, float factor, IPP::Array<float>&& dst) {
    if (src.size >= kWorthStreaming) {
        IPP::Simd::Active().streamMulC(factor, src.data, dst.data, src.size);
        return FinishStreams();
    }
    dst.CopyFrom(src);
    dst.MulC(factor);
}

/// Copies a B-scan with every A-scan multiplied by the same factors.
inline void StreamProduct(const IPP::Array2D<float>& src, const IPP::Array<float>& factors,
                          const IPP::Array2D<float>& dst) {
    const auto& kernels = IPP::Simd::Active();
    const auto product = src.size >= kWorthStreaming ? kernels.streamProduct : kernels.product;
    for (int y = 0; y < src.dim1; ++y) product(src.Row(y).data, factors.data, dst.Row(y).data, src.dim0);
    FinishStreams();
}

} // namespace TZM
