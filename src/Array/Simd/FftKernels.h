#pragma once

#include "Array/Primitives/IppTypes.h"

/// The transform kernels. Everything rides in lanes: W neighbouring transforms, one per lane of a vector, real and
/// imaginary parts in separate vectors ("lane form": element k is W real parts at re + k * stride and W imaginary
/// parts at im + k * stride, strides in floats). Only forward transforms exist: swapping the real and the imaginary
/// pointers of source and target makes the inverse one.

namespace IPP::Simd {

using Index = __PTRDIFF_TYPE__;

constexpr int kMaxLanes = 16;    ///< of the widest level
constexpr int kMaxRadix = 16;    ///< of the unrolled butterflies
constexpr int kMaxOddRadix = 97; ///< of the odd radices that are computed from their definition

/// A run of `count` butterflies of one radix. Leg j of butterfly i is read at src + i * srcNext + j * srcLeg and
/// written at dst + i * dstNext + j * dstLeg. All legs are read before the first is written.
struct FftPass {
    const float* srcRe;
    const float* srcIm;
    Index srcLeg, srcNext;
    float* dstRe;
    float* dstIm;
    Index dstLeg, dstNext;
    Index count;
    const float* twiddles; ///< radix - 1 complex factors of a butterfly, onto legs 1, 2 .., then the next butterfly's
    // Read by the general leaves alone:
    float scale;            ///< factor of the source
    Index reLimit, imLimit; ///< offsets from src at and above these read as 0
    // Read by the odd radices alone:
    int radix;
    const float* circle; ///< cos and sin of 2 pi j k / radix, for k = 1 .. (radix - 1) / 2, j = 1 .. (radix - 1) / 2
};

/// The transform kernels of one instruction set. They check nothing: counts are at least 1, pointers valid.
struct FftKernels {
    using Pass = void (*)(const FftPass&);

    int lanes; ///< 32-bit floats in a vector, the W of the comments here

    // Butterflies by radix; null where there is none of that radix. Lane blocks are what stands in work memory.
    Pass leaf[kMaxRadix + 1];        ///< without twiddles, to lane blocks whose legs stand side by side
    Pass generalLeaf[kMaxRadix + 1]; ///< without twiddles, with scale and limits
    Pass inner[kMaxRadix + 1];       ///< on lane blocks in place, butterflies side by side
    Pass last[kMaxRadix + 1];        ///< from lane blocks, butterflies side by side
    Pass oddLeaf;                    ///< any odd radix up to kMaxOddRadix, with scale and limits
    Pass oddTwiddled;

    /// dst[k] = src[k] * table[k], complex, for lane forms of `count` elements; the table's factors serve all lanes.
    void (*multiply)(const float* srcRe, const float* srcIm, Index srcStride, float* dstRe, float* dstIm,
                     Index dstStride, const float* table, Index count);
    /// Lane blocks (im = re + W, stride 2 W) times a table with a factor for every lane, in place.
    void (*multiplyLanes)(float* srcDst, const float* tableRe, const float* tableIm, Index tableStride, Index count);
    /// Copies lane form, element order[k] of the source to element k (gather) or k to order[k] (scatter), scaled;
    /// the source reads as 0 at and above the limits.
    void (*gather)(const float* srcRe, const float* srcIm, Index srcStride, Index reLimit, Index imLimit, float scale,
                   const int* order, float* dst, Index count);
    void (*scatter)(const float* src, const int* order, float* dstRe, float* dstIm, Index dstStride, Index count);

    /// Rows of contiguous floats to lane form: dst[k * dstStride + row] = src[row][k] for k < count. Rows lie
    /// `srcStep` bytes apart; there are `rows` <= W of them, the lanes of the missing ones become 0. A complex row of n
    /// interleaved elements is one of 2 n floats, and comes out as lane blocks (im = re + W, stride 2 W) with dstStride
    /// W.
    void (*loadRows)(const void* src, Index srcStep, int rows, Index count, float* dst, Index dstStride);
    /// Lane form back to rows: src[k * srcStride + row] to dst[row][k].
    void (*storeRows)(const float* src, Index srcStride, int rows, Index count, void* dst, Index dstStep);

    /// Between neighbouring complex columns and lane form: row y at src + y * srcStep bytes holds `columns` <= W
    /// interleaved complex numbers, one per lane; missing lanes become 0, and are not written back.
    void (*loadColumns)(const void* src, Index srcStep, int columns, Index count, float* dst);
    void (*storeColumns)(const float* src, int columns, Index count, void* dst, Index dstStep);

    // Two real signals per lane as one complex signal z = a + i b; z in lane blocks of n elements, the spectra of a and
    // b as frequencies 1 .. last, element j - 1 at 4 W (j - 1): real and imaginary part of a, then of b.
    /// Twice the spectra from that of z; last is at most n / 2.
    void (*separatePair)(const float* z, Index n, Index last, float* halves);
    /// Twice the spectrum of z whose inverse has the real parts of what the halves alone would give: the frequencies -j
    /// become the conjugates, all others 0.
    void (*joinPair)(const float* halves, Index last, Index n, float* z);

    /// loadRows, and the largest magnitude of every row (NaN if one is in it, 0 for a missing row), W values.
    void (*loadRowsAndLevels)(const void* src, Index srcStep, int rows, Index count, float* dst, Index dstStride,
                              float* largest);
    /// Lane blocks times a factor for each of the W real lanes, then the W imaginary ones, in place.
    void (*scaleLanes)(float* srcDst, const float* factors, Index count);
    /// Envelopes of up to 2 W rows, the first W of them the real parts x of `signal`, the others its imaginary parts,
    /// from lane blocks: sqrt(x^2 + (h - other)^2) * undo, `other` the other part of the signal, h that of `hilbert`,
    /// whose memory is used up. Squares below 1e-36 may give less than their root.
    void (*storeEnvelopes)(const float* signal, float* hilbert, const float* undo, int rows, Index count, void* dst,
                           Index dstStep);
    /// The largest value of each of these envelopes, 2 W of them.
    void (*envelopePeaks)(const float* signal, const float* hilbert, const float* undo, Index count, float* peaks);
};

extern const FftKernels fftKernelsBaseline;
extern const FftKernels fftKernelsAvx2;
extern const FftKernels fftKernelsAvx512;

} // namespace IPP::Simd
