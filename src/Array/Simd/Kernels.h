#pragma once

#include "Array/Primitives/IppTypes.h"

namespace IPP::Simd {

/// The sums of a correlation come in multiples of this many.
constexpr int kCorrelateBlock = 32;

/// So many depth rows lie side by side where a whole row decides: element e of row l at lanes[kRowLanes * e + l].
constexpr int kRowLanes = 16;

/// Points of a grid that a value is spread over.
constexpr int kSpreadWidth = 8;

/// A sum of weighted rows comes in multiples of this many elements.
constexpr int kWeightedRun = 64;

/// Rows and columns of a tile of sums of products.
constexpr int kTileRows = 4, kTileColumns = 16;

/// Rows and columns of a tile of sums along curves.
constexpr int kCurveRows = 8, kCurveColumns = 32;

/// The vector kernels of one instruction set. They check nothing: lengths are at least 1 and pointers valid, the length
/// of a sum may be 0. Sums accumulate in 64-bit floats. A NaN goes through element operations; in a minimum or maximum
/// it counts or not as the processor's instruction has it.
struct Kernels {
    void (*set)(float value, float* dst, int len);
    void (*mul)(const float* src, float* srcDst, int len);
    void (*mulComplex)(const Ipp32fc* src, Ipp32fc* srcDst, int len);
    void (*addC)(float value, float* srcDst, int len);
    void (*mulC)(double value, float* srcDst, int len); ///< the product is taken in 64 bits
    void (*sqr)(float* srcDst, int len);
    void (*magnitude)(const Ipp32fc* src, float* dst, int len);
    void (*conj)(Ipp32fc* srcDst, int len);
    void (*maxEvery)(const float* src, float* srcDst, int len);
    void (*minEvery)(const float* src, float* srcDst, int len);
    void (*thresholdAbove)(float* srcDst, int len, float level);
    void (*flip)(float* srcDst, int len);
    void (*minMax)(const float* src, int len, float* min, float* max);
    int (*maxInt)(const int* src, int len);
    double (*sum)(const float* src, int len);
    void (*sub)(const float* src, float value, float* dst, int len); ///< dst = src - value

    /// Weighted reads between the bins of a split-complex spectrum, twelve taps (three vectors of four) per result:
    /// dst[i] = (factorRe[i] + i factorIm[i]) * sum over t < 12 of taps[12 i + t] * src[bins[i] + t].
    void (*tapReads)(const int* bins, const float* taps, const float* factorRe, const float* factorIm, int count,
                     const float* srcRe, const float* srcIm, float* dstRe, float* dstIm);

    /// sums[i] += sum over j of taps[j] * signal[i + j], j below tapCount, i below count, a multiple of
    /// kCorrelateBlock.
    void (*correlate)(const double* signal, const double* taps, int tapCount, double* sums, int count);

    double (*sumOfSquares)(const float* src, int len);

    /// Reads between neighbours: dst[i] = src[i] + weights[i] * (src[i + 1] - src[i]).
    void (*interpolate)(const float* src, const float* weights, float* dst, int len);

    void (*addTo)(const float* src, double* sums, int len);                    ///< sums[i] += src[i]
    void (*add)(const float* src, const float* summands, float* dst, int len); ///< dst[i] = src[i] + summands[i]

    /// The medians of kRowLanes rows of len elements, which are overwritten: the middle element in ascending order, NaN
    /// last, or half the sum of the two middle ones.
    void (*laneMedians)(float* lanes, int len, float* medians);

    /// y[e] = b0 x[e] + b1 x[e - 1] - a1 y[e - 1] forwards and backwards over kRowLanes rows of len elements, each
    /// between its own mirror images and from rest on. work holds 2 * len elements of all rows.
    void (*laneZeroPhase)(float* lanes, float* work, int len, double b0, double b1, double a1);

    void (*product)(const float* src, const float* factors, float* dst, int len); ///< dst[i] = factors[i] * src[i]
    /// dst[i] = the larger of factor * src[i] and floor[i]; gives the largest of them, from 0 on.
    float (*floored)(const float* src, float factor, const float* floor, float* dst, int len);
    /// dst[i] = factor * src[i] / the smaller of divisors[i] and limit, 0 for a divisor of 0.
    void (*quotients)(const float* src, const float* divisors, float limit, float factor, float* dst, int len);
    void (*larger)(const float* a, const float* b, float* dst,
                   int len); ///< dst[i] = the one of larger magnitude, a[i] unless that of b[i] is strictly larger
    void (*numbers)(const float* src, float* dst, int len);                 ///< dst[i] = src[i], 0 for a NaN
    void (*rootMeans)(const float* sums, float count, float* dst, int len); ///< dst[i] = sqrt(sums[i] / count)
    void (*minMaxOfSums)(const float* src, const float* summands, int len, float* min, float* max);

    // For areas that don't overlap. Past the caches they are complete for other threads only behind a store fence.
    void (*streamCopy)(const float* src, float* dst, int len, bool past);
    void (*streamMulC)(float value, const float* src, float* dst, int len, bool past); ///< dst = value * src
    void (*streamProduct)(const float* src, const float* factors, float* dst, int len, bool past);
    void (*streamAffine)(float factor, float summand, const float* src, float* dst, int len, bool past);
    void (*streamSumScaled)(const float* src, const float* summands, float factor, float* dst, int len,
                            bool past); ///< dst[i] = (src[i] + summands[i]) * factor

    /// Groups of kRowLanes floats, side by side, to places `step` floats apart, which are whole cache lines.
    void (*streamLines)(const float* lanes, int count, float* dst, long step);

    /// dst[i] = sum over k of weights[k] src[offsets[k] + i], k ascending, i below len, a multiple of kWeightedRun.
    void (*weightedRows)(const int* offsets, const float* weights, int count, const float* src, float* dst, int len);

    /// Adds values of four floats each to a grid of such: grid[starts[i] + k] += weights[kSpreadWidth i + k] values[i],
    /// k below kSpreadWidth, i ascending.
    void (*spread)(const int* starts, const float* weights, const float* values, int count, float* grid);

    /// dst[e] = lanes[e] - median, as laneMedians has it, of the elements e - half .. e + half that are among the len
    /// elements of a row, for kRowLanes rows; half is below len. work holds one element more than the longest window.
    void (*laneLessMedians)(const float* lanes, int* work, int len, int half, float* dst);

    double (*dotWide)(const double* a, const double* b, int len);                   ///< sum over i of a[i] b[i]
    void (*addScaledWide)(double factor, const double* src, double* sums, int len); ///< sums[i] += factor * src[i]

    /// A row of a symmetric matrix from which a pair of outer products is taken, and its part of the product with x:
    /// row[i] -= ui q[i] + qi u[i]; sums[i] += xi row[i]; gives the sum over i of row[i] x[i].
    double (*foldRow)(double* row, const double* u, const double* q, double ui, double qi, const double* x, double xi,
                      double* sums, int len);

    /// sums[r * sumsStep + c] += sum over k < count of a[k * step + r] b[k * step + c], r below kTileRows, c below
    /// kTileColumns.
    void (*tileProducts)(const double* a, const double* b, long step, int count, double* sums, long sumsStep);

    /// The first `columns` of a tile of sums along curves, up to kCurveColumns and perhaps some more of them, each row
    /// with its own, on both sides of its columns: with n = kCurveRows k + r, sums[step r + c] += sum of weights[n]
    /// src[offsets[n] + c + k] over k below right, and of weights[n] src[offsets[n] + c - k] over k = 1 .. left.
    /// src + offsets[n] stands on a boundary of 64 bytes; whole lines of so many bytes are read, up to the one behind
    /// the last column.
    void (*curveTile)(const int* offsets, const float* weights, int right, int left, const float* src, float* sums,
                      long step, int columns);

    /// The mean of two legs, and how much it differs between neighbours, for x[k] = k dx, k below len:
    /// r1 = sqrt((x + ax)^2 + (y + ay)^2 + t^2), r2 = sqrt((x - ax)^2 + (y - ay)^2 + t^2), times[k] = (r1 + r2) / 2,
    /// moveouts[k] = the larger of dx |d times / dx| and dy |d times / dy|. All in one unit; t is above 0.
    void (*twoLegTimes)(double t, double y, double ax, double ay, double dx, double dy, double* times, double* moveouts,
                        int len);

    /// Taps and factors of reads between bins, as tapReads takes them, by Harlan's windowed sinc: with u[i] the
    /// distance behind the lower bin, 0 .. 1, taps[12 i + t] = (6 - |u - n|) / (u - n) for n = t - 4, t below 10, 0 for
    /// t = 10 and 11, and the factor sin(pi u) exp(-i pi u) / (6 pi), to 2e-7 of the largest; up to the threshold the
    /// lower bin alone with the factor 1.
    void (*harlanTaps)(const float* u, int count, float threshold, float* taps, float* factorRe, float* factorIm);
};

extern const Kernels kernelsBaseline;
extern const Kernels kernelsAvx2;
extern const Kernels kernelsAvx512;

} // namespace IPP::Simd
