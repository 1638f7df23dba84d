#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamEigenBackground : AlgoParamBase {
    AlgoParamEigenBackground();
    AlgoParamEigenBackground(bool enableLogging, int loggingLevel, int count, float energy, bool keep);

    Prm<int> count; ///< eigenimages that are background
    Prm<float>
        energy;     ///< share of the energy, up to 1, that the background holds at least, in place of count; 0: count
    Prm<bool> keep; ///< keeps the background in place of taking it out
};

/// Takes the first eigenimages out of every B-scan, or keeps them: what looks alike in many A-scans, whether or not it
/// is equally strong in all of them (S. L. M. Freire and T. J. Ulrych, Application of singular value decomposition to
/// vertical seismic profiling, Geophysics 53 (1988), 778-785).
///
/// With X the samples x A-scans of the valid range and X = sum of s_i u_i v_i^T its singular values s_1 >= s_2 >= ..,
///     out = X - sum over i <= k of s_i u_i v_i^T,   or the sum alone to keep it,
///     k = count, or the smallest k with s_1^2 + .. + s_k^2 >= energy (s_1^2 + s_2^2 + ..).
/// The vectors of the smaller side are those of X X^T or X^T X in 64 bits, in which the square of what a 32-bit float
/// tells apart is still told apart; the sum is the projection of X on them. A background of all eigenimages is X.
///
/// Output: that of the input; A-scans outside the valid range come out as zeros. CalcError -8 for a negative count or
/// energy, -12 for an energy above 1, 99 "IPP::Exception::ippsCopy_32f" if a dimension is 0. std::bad_alloc for the
/// matrix. A B-scan that holds a NaN or an infinity in its valid range comes out as NaN there.
class TZM_EXPORT AlgoEigenBackground : public Algo<AlgoParamEigenBackground> {
public:
    static const int defaultCount; ///< 1

    explicit AlgoEigenBackground(const std::string& name = "EigenBackground");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
