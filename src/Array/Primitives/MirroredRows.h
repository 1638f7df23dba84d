#pragma once

#include <memory>
#include <new>
#include <vector>

#include "Array/Array.h"
#include "Array/Primitives/FftPlan.h"
#include "Array/Primitives/ThreadWork.h"

namespace IPP {

/// Where rows go, `step` floats apart, and whether past the caches, which takes steps of whole lines of 64 bytes.
struct RowTarget {
    float* data;
    Index step;
    bool past = false;
};

/// What is done to rows of one length that their own mirror images continue at both ends: a row x of n samples counts
/// as one period x[0] .. x[n - 1], x[n - 1] .. x[0] of 2 n samples, so that its end meets itself, not its beginning,
/// and nothing strong at one end shows at the other.
///
/// Such an even period has a cosine spectrum, C[k] = sum over i of x[i] cos(pi k (2 i + 1) / 2 n) for k = 0 .. n - 1,
/// which a transform of length n gives: that of the row in folded order, v = the samples 0, 2, 4 .. 5, 3, 1 of x (J.
/// Makhoul, A fast cosine transform in one and two dimensions, IEEE Transactions on Acoustics, Speech and Signal
/// Processing 28 (1980), 27-34). So the mirror images cost no longer transforms. Two rows ride in each, as real and
/// imaginary part.
///
/// Rows are brought near magnitude 1 by powers of two of their own: none touches another, a row of zeros gives zeros,
/// one with a NaN or an infinity NaN throughout. Read-only; each thread has work memory of its own. std::bad_alloc for
/// lengths beyond any use.
class MirroredRows {
public:
    int Length() const { return static_cast<int>(length); }
    int WorkSize() const;     ///< floats, best aligned to 64 bytes
    static int RowsAtATime(); ///< twice the lanes

protected:
    explicit MirroredRows(int n);
    ~MirroredRows() = default;

    /// Runs change(lanes of the spectrum V of v), then store(folded rows, transform of the changed spectrum, factors
    /// that undo the scaling of the rows), which writes rows. At most RowsAtATime() rows.
    template <class Change, class Store>
    void Run(const float* src, Index srcStep, int rows, float* work, bool inverse, const Change& change,
             const Store& store) const;

    Index length;
    std::shared_ptr<const FftPlan> plan;
};

/// Work memory of the calling thread for at most RowsAtATime() rows. std::bad_alloc.
class MirroredWork {
public:
    explicit MirroredWork(const MirroredRows& rows) : data(rows.WorkSize()) {
        if (!data.Get()) throw std::bad_alloc();
    }
    float* Get() const { return data.Get(); }

private:
    ThreadWork data;
};

/// Hilbert transforms. That of the even period is the sine series of C; in folded order, with the sign of the samples
/// 1, 3, 5 .. changed, it is
///     u[m] = i / n * sum over k = 1 .. n - 1 of exp(-pi i k / n) V[k] exp(-2 pi i k m / n).
/// A constant has the transform 0.
class MirroredHilbert : public MirroredRows {
public:
    explicit MirroredHilbert(int n);

    // At most RowsAtATime() rows; steps between rows in floats. src and dst don't overlap.
    void Envelopes(const float* src, Index srcStep, int rows, const RowTarget& dst, float* work) const;
    void Transforms(const float* src, Index srcStep, int rows, const RowTarget& dst, float* work) const;

private:
    template <class Store>
    void Run(const float* src, Index srcStep, int rows, float* work, const Store& store) const;

    Array<float> turns; ///< i / n * exp(-pi i k / n), 0 for k = 0
};

/// Filters without a change of phase: C[k] times a weight of the frequency k / (2 n), in cycles per sample. In terms of
/// V that is
///     V[k] := (w[k] + w[n - k]) / 2 V[k] + (w[k] - w[n - k]) / 2 exp(pi i k / n) V[n - k].
class MirroredFilter : public MirroredRows {
public:
    /// \param weights of k = 0 .. n - 1, one for each sample of a row
    explicit MirroredFilter(const std::vector<double>& weights);

    /// As above.
    void Apply(const float* src, Index srcStep, int rows, const RowTarget& dst, float* work) const;

private:
    Array<float> table; ///< for mixMirrored, over n
};

} // namespace IPP
