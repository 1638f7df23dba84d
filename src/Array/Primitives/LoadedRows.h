#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Array/Simd/Dispatch.h"

namespace IPP {

using Simd::Index;

/// The power of two that brings a row of the given largest magnitude near 1, and the one that undoes it: 0 for a row
/// of zeros, NaN for one with a NaN or an infinity. Of a float, the exponent bits are a power of two, and 254 less the
/// exponent is its reciprocal. They are clamped to those that have both: rows near the largest float come out below 4,
/// subnormal ones as they can.
inline void ScaleOfLevel(float largest, float& factor, float& undo) {
    int bits;
    std::memcpy(&bits, &largest, sizeof bits);
    const int power = std::clamp(bits & 0x7f800000, 0x00800000, 0x7e800000), reciprocal = 0x7f000000 - power;
    std::memcpy(&factor, &reciprocal, sizeof factor);
    std::memcpy(&undo, &power, sizeof undo);
    if (largest == 0.f) undo = 0.f;
    if (!std::isfinite(largest)) undo = NAN;
}

/// Up to 2 W rows in lane blocks, the first W of them as real parts, the others as imaginary ones, with the factors
/// that bring each near magnitude 1 and those that undo them.
struct LoadedRows {
    /// Floats of work memory beside the signal's 2 W per element, of any number of lanes.
    static constexpr Index kExtra = 3 * 2 * Simd::kMaxLanes;

    /// Loads the rows into `signal`, unscaled; a row with a NaN or an infinity is loaded as zeros, lest it reach its
    /// partner. `extra` holds kExtra floats.
    LoadedRows(const float* src, Index srcStep, Index rowCount, Index len, float* signalMemory, float* extra)
        : signal(signalMemory), largest(extra), factors(extra + Stride()), undo(extra + 2 * Stride()) {
        const Simd::FftKernels& kernels = Simd::ActiveFft();
        const Index lanes = kernels.lanes, stride = 2 * lanes, rowBytes = sizeof(float);
        for (int part = 0; part < 2; ++part) {
            const Index first = part * lanes;
            const int count = int(std::clamp(rowCount - first, Index(0), lanes));
            kernels.loadRowsAndLevels(src + std::min(first, rowCount - 1) * srcStep, srcStep * rowBytes, count, len,
                                      signal + first, stride, largest + first);
        }
        for (Index l = 0; l < stride; ++l) {
            ScaleOfLevel(largest[l], factors[l], undo[l]);
            for (Index k = 0; std::isnan(undo[l]) && k < len; ++k) signal[k * stride + l] = 0.f;
        }
    }

    /// Asks for rows in the order of memory, where the processor goes on ahead by itself; it doesn't with the many rows
    /// at a time of a transpose.
    static void Prefetch(const float* first, Index step, Index rows, Index count) {
        constexpr Index line = 16;
        for (Index r = 0; r < rows; ++r)
            for (Index k = 0; k < count; k += line) __builtin_prefetch(first + r * step + k, 0, 3);
    }

    static Index Stride() { return 2 * Simd::ActiveFft().lanes; }

    float* signal;  ///< lane blocks
    float* largest; ///< magnitude of each row, NaN if one is in it
    float* factors;
    float* undo; ///< the powers of two that undo the factors: 0 for a row of zeros, NaN for a broken one
};

} // namespace IPP
