#pragma once

#include "Array/Array.h"
#include "Array/Simd/Dispatch.h"

namespace TZM {

/// Runs from here on (256 KiB) are written past the caches: nobody reads them soon, and a cached store would first
/// fetch the line that it overwrites, half as much traffic again.
constexpr int kWorthStreaming = 64 << 10;

/// Copies a B-scan, or a run of one, into the output block. Sizes are equal; the areas don't overlap.
inline void StreamCopy(const IPP::Array<float>& src, IPP::Array<float>&& dst) {
    if (src.size < kWorthStreaming) return dst.CopyFrom(src);
    IPP::Simd::Active().streamCopy(src.data, dst.data, src.size);
}

/// The same with every sample multiplied by factor.
inline void StreamScaled(const IPP::Array<float>& src, float factor, IPP::Array<float>&& dst) {
    if (src.size >= kWorthStreaming) return IPP::Simd::Active().streamMulC(factor, src.data, dst.data, src.size);
    dst.CopyFrom(src);
    dst.MulC(factor);
}

} // namespace TZM
