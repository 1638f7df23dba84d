#pragma once

#include "Array/Simd/Dispatch.h"

namespace IPP::Simd {

/// Columns of a strip in which windows go from row to row.
constexpr int kStripLanes = 64;

/// Windows e - half .. e + half of len elements, as far as these are there. No sum over one owes anything to what lies
/// outside it. 32 bits add up no more than 16 terms, 64 bits the rest.
struct WindowSums {
    int len;
    int half;             ///< below len
    const double* shares; ///< 1 over the elements of the window around each element
    float* ends;          ///< work memory: 2 half + 1 rows of kRowLanes, or of kStripLanes where those are columns
};

/// A-scans in whose windows something is measured, and what that takes. Steps between A-scans in floats.
struct AscanWindows : WindowSums {
    const float* src; ///< at most kRowLanes A-scans of len elements
    Index srcStep;
    const float* measured; ///< whose windows count: src, or as many others
    Index measuredStep;
    int ascans;
    float* dst;
    Index dstStep;
    bool past; ///< writes dst past the caches, whose step is whole lines of 64 bytes then

    // Work memory, in rows of kRowLanes elements.
    float* lanes;   ///< len + 2 half, the first and the last half of them zeros
    float* values;  ///< len, if src isn't measured
    float* results; ///< len
};

/// The vector kernels of the steps along single A-scans, of one instruction set; like Kernels.
struct AscanKernels {
    // Along A-scans.
    /// dst[e] = src[e] - mean of the window.
    void (*lessMeans)(const AscanWindows& windows);
    /// dst[e] = src[e] * level / the larger of floor and the root mean square (or, not `squared`, the mean) of the
    /// window of `measured`; 0 if that is 0. All but `level` are taken times `scale`, a power of two, which leaves the
    /// result: with it squares keep within the range of floats.
    void (*levelled)(const AscanWindows& windows, bool squared, float level, float floor, float scale);

    /// dst[i] = the argument of re[i] + i im[i] in radians, -pi .. pi, within a unit in the last place; 0 of 0. dst may
    /// be re or im.
    void (*phases)(const float* re, const float* im, float* dst, int len);
    /// dst[i] = how far the argument of element i + 1 is ahead of that of element i, of len + 1 elements; 0 beside a 0.
    void (*phaseSteps)(const float* re, const float* im, float* dst, int len);

    /// The largest magnitude in each row, NaN of one with a NaN.
    void (*rowLevels)(const float* src, Index srcStep, int rows, Index count, float* levels);

    // Lane blocks as of FftKernels, W real parts, then W imaginary ones, in folded order: the elements 0, 2, 4 .. 5, 3,
    // 1 of a signal.
    /// Rows as lanes, times a factor for each of the 2 W lanes, those of rows that aren't there zeros.
    void (*foldRows)(const float* src, Index srcStep, int rows, Index count, const float* factors, float* dst);
    // Back to at most 2 W rows in their natural order, as storeRows of FftKernels has it, times the factors; steps in
    // floats. Past the caches the step is whole lines of 64 bytes.
    /// The lanes, those of the elements 1, 3, 5 .. times oddSign.
    void (*putLanes)(const float* folded, const float* factors, float oddSign, Index count, int rows, float* dst,
                     Index dstStep, bool past);
    /// The envelopes sqrt(x^2 + h^2) of a signal x and its transforms h, both folded. Squares below 1e-36 may give less
    /// than their root.
    void (*putEnvelopes)(const float* signal, const float* hilbert, const float* factors, Index count, int rows,
                         float* dst, Index dstStep, bool past);
    /// The spectrum v of a folded signal, n lane blocks: v[j] = a v[j] + b v[n - j], v[n - j] = a v[n - j] + conj(b)
    /// v[j] for 0 < j < n - j, v[0] and v[n / 2] times their a. The table holds a and the parts of b,
    /// for j = 0 .. n / 2.
    void (*mixMirrored)(float* v, const float* table, Index n);

    /// From row to row of a strip of kStripLanes columns: dst[e] = src[e] - mean of the window. Past the caches dst
    /// begins on a boundary of 64 bytes, and its step is whole lines of them.
    void (*lessStripMeans)(const WindowSums& windows, const float* src, Index srcStep, float* dst, Index dstStep,
                           bool past);
};

extern const AscanKernels ascanKernelsBaseline;
extern const AscanKernels ascanKernelsAvx2;
extern const AscanKernels ascanKernelsAvx512;

/// Those of the level in use.
const AscanKernels& ActiveAscan();

} // namespace IPP::Simd
