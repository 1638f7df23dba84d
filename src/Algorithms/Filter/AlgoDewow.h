#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamDewow : AlgoParamBase {
    AlgoParamDewow();
    AlgoParamDewow(bool enableLogging, int loggingLevel, float window, bool median);

    Prm<float> window; ///< ns along the A-scan over which the level is taken
    Prm<bool> median;  ///< the median of the window in place of its mean
};

/// Takes the slow part off every A-scan, the wow that near fields and the receiver's recovery leave below the band of
/// the antenna (D. J. Daniels, Ground Penetrating Radar, 2nd ed., IET 2004, on the removal of low frequencies):
///     out[s] = in[s] - mean (or median) of in[s'],   max(0, s - h) <= s' <= min(S - 1, s + h),
/// with h = window / (2 deltaT), rounded, at least 1. At the ends of the A-scan the window holds fewer samples. The
/// median of an even count is half the sum of the two middle values, a NaN counts as the largest one.
///
/// The mean passes what is much shorter than the window and rejects what is longer than about twice its length: a
/// window of one to two periods of the antenna keeps the wavelets. A constant becomes 0 up to the rounding of
/// the mean.
///
/// Output: that of the input; A-scans outside the valid range come out as zeros. The sampling interval is that of the
/// global settings. CalcError -9 for a window that isn't above 0, 99 "IPP::Exception::ippsCopy_32f" if a dimension is
/// 0. A mean hands a NaN or an infinity on to the samples whose windows hold it.
class TZM_EXPORT AlgoDewow : public Algo<AlgoParamDewow> {
public:
    static const float defaultWindow; ///< 10 ns

    explicit AlgoDewow(const std::string& name = "Dewow");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
