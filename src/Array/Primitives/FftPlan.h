#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "Array/Simd/FftKernels.h"

namespace IPP {

using Simd::Index;

/// Where a transform reads: element k of W neighbouring transforms is W real parts at re + k * stride and W imaginary
/// parts at im + k * stride, the stride in floats and at least W. A null im is a real signal. Only the first `present`
/// elements are read if it isn't negative, the others count as 0.
struct LaneSource {
    const float* re;
    const float* im;
    Index stride;
    Index present = -1;
};

/// Where it writes.
struct LaneTarget {
    float* re;
    float* im;
    Index stride;
};

/// Complex transforms of one length n >= 1, W of them at a time, one per lane of a vector; W is the `lanes` of
/// Simd::ActiveFft(). Forward: X[k] = scale * sum over j of x[j] exp(-2 pi i j k / n); inverse the same with +.
/// "Lane blocks" have im = re + W and stride 2 W; the columns of an array of split parts have the row length as stride.
///
/// Mixed radix, decimation in time (Cooley and Tukey): the leaves read the source with its stride and write
/// contiguous work memory, every later pass works there in place, sub-transform by sub-transform so that it stays in
/// the first cache, and the last pass writes the target. Larger primes go by definition, by Rader's convolution or by
/// Bluestein's. Tables are made in double precision. A plan is read-only and serves any number of threads and every
/// instruction set.
class FftPlan {
public:
    /// The plan of length n, from the tables that the process keeps: the last 128 asked for, of 64 MiB in all. Throws
    /// std::bad_alloc.
    static std::shared_ptr<const FftPlan> Get(Index n);

    /// An estimate of the time of a transform, in vector operations.
    static double Cost(Index n);

    explicit FftPlan(Index n);
    ~FftPlan();
    FftPlan(const FftPlan&) = delete;
    FftPlan& operator=(const FftPlan&) = delete;

    Index Length() const { return length; }
    std::size_t Bytes() const; ///< of the tables

    /// Floats of work memory of a transform, best aligned to 64 bytes; each thread needs its own.
    Index WorkSize() const { return workElements * 2 * Simd::kMaxLanes; }

    /// Source and target may be the same area with the same stride; otherwise they don't overlap.
    void Forward(const LaneSource& src, const LaneTarget& dst, float* work, float scale = 1.f) const;
    void Inverse(const LaneSource& src, const LaneTarget& dst, float* work, float scale = 1.f) const;

private:
    enum class Leaf { Butterfly, Odd, Rader, Bluestein };
    struct Stage;
    struct Run;

    void MakeRader();
    void MakeBluestein();

    void Transform(const Run& run, std::size_t stage, Index offset, Index step, const LaneTarget& dst) const;
    void Leaves(const Run& run, Index offset, Index next, Index step, Index count, const LaneTarget& dst,
                Index apart) const;
    void RaderLeaf(const Run& run, Index offset, Index step, const LaneTarget& dst) const;
    void BluesteinLeaf(const Run& run, Index offset, Index step, const LaneTarget& dst) const;

    Index length;
    Index workElements = 0, passElements = 0; ///< of everything; of the passes alone
    Leaf leaf = Leaf::Butterfly;
    Index leafLength = 1;
    std::vector<Stage> stages; ///< from the last pass down to the one above the leaves
    std::vector<float> circle; ///< of an odd leaf
    std::vector<int> gather;   ///< order in which a convolution leaf takes its source
    std::vector<int> scatter;  ///< Rader: where its results go
    std::vector<float> chirp;  ///< Bluestein: exp(-pi i k^2 / leafLength)
    std::vector<float> kernel; ///< spectrum of what is convolved with, divided by its length
    std::shared_ptr<const FftPlan> convolution;
};

} // namespace IPP
