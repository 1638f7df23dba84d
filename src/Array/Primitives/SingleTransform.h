#pragma once

#include "Array/Primitives/FftPlan.h"
#include "Array/Primitives/IppTypes.h"

namespace IPP {

/// One complex transform of any length n >= 1 of interleaved numbers. Where it pays, n is split in two factors: the
/// columns of the signal written as a matrix ride in the lanes, then its rows, so that the lanes are full and the
/// tables of a long transform stay near the square root of n.
class SingleTransform {
public:
    /// From the tables that the process keeps, as for FftPlan. Throws std::bad_alloc, also where a length beyond any
    /// use would need tables of gigabytes.
    static std::shared_ptr<const SingleTransform> Get(Index n);

    explicit SingleTransform(Index n);

    Index Length() const { return length; }
    std::size_t Bytes() const; ///< of the tables
    Index WorkSize() const;    ///< floats
    /// src may equal dst.
    void Forward(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale = 1.f) const;
    void Inverse(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale = 1.f) const;

private:
    void Transform(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale, bool inverse) const;
    void SplitTransform(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale, bool inverse) const;
    void ChirpTransform(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale, bool inverse) const;
    void MakeTurns(Index firstColumn, Index count, float* re, float* im, Index stride) const;

    Index length;
    std::shared_ptr<const FftPlan> columns; ///< of the columns' length; of the whole length if `rows` is null
    std::shared_ptr<const FftPlan> rows;
    std::vector<double> fineTurns,
        coarseTurns;                     ///< exp(-2 pi i k / length) for the lower bits of k and for its upper ones
    std::vector<float> turnsRe, turnsIm; ///< all turns of a short transform, [row][column] with padded rows
    std::vector<Ipp32fc> chirp, kernel;  ///< Bluestein, for long lengths without good factors
    std::shared_ptr<const SingleTransform> convolution;
};

} // namespace IPP
