#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamSlidingBackground : AlgoParamBase {
    AlgoParamSlidingBackground();
    AlgoParamSlidingBackground(bool enableLogging, int loggingLevel, float window, bool median);

    Prm<float> window; ///< metres along the scan over which the background is taken
    Prm<bool> median;  ///< the median of the window in place of its mean
};

/// Takes out of every B-scan what is the same over a window along the scan, for ground whose background changes: the
/// depths of a row that is one sample index of the valid A-scans a .. b lose their local level,
///     out[s, y] = in[s, y] - mean (or median) of in[s, y'],   max(a, y - h) <= y' <= min(b, y + h),
/// with h = window / (2 deltaX), rounded, at least 1. At the ends of the valid range the window holds fewer A-scans.
/// The median of an even count is half the sum of the two middle values, a NaN counts as the largest one.
///
/// What is longer along the scan than about half the window is background, too: a window is chosen several times as
/// long as the flat reflectors that are to stay. The mean answers a short strong echo by a shadow of the other sign
/// beside it, as wide as the window; the median doesn't.
///
/// Output: that of the input; A-scans outside the valid range come out as zeros. Sampling is that of the global
/// settings. CalcError -9 for a window that isn't above 0, 99 "IPP::Exception::ippsCopy_32f" if a dimension is 0. A
/// mean hands a NaN or an infinity on to the A-scans whose windows hold it, at its own depth.
class TZM_EXPORT AlgoSlidingBackground : public Algo<AlgoParamSlidingBackground> {
public:
    static const float defaultWindow; ///< 2 m

    explicit AlgoSlidingBackground(const std::string& name = "SlidingBackground");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
