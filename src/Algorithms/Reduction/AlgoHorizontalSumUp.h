#pragma once

#include "Algorithms/Reduction/SumUp.h"
#include "Framework/Algo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamHorizontalSumUp : AlgoParamSumUp {
    using AlgoParamSumUp::AlgoParamSumUp;
};

/// Reduces, at every sample of every A-scan, a window of t = Thickness B-scans to one value: B-scan i and, of the
/// B-scans beside it, t / 2 (rounded down) before it and the others behind it, as far as they exist. Of equal
/// magnitudes the lowest B-scan wins.
///
/// Output: that of the input. CalcError 99 if a dimension is 0, "IPP::Exception::ippsCopy_32f" if t is 1 and
/// "IPP::Exception::ippsZero_32f" otherwise.
class TZM_EXPORT AlgoHorizontalSumUp : public Algo<AlgoParamHorizontalSumUp> {
public:
    static const int defaultThickness; ///< 0
    static const bool defaultUseMax;   ///< true

    explicit AlgoHorizontalSumUp(const std::string& name = "HorizontalSumUp");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const { return DescribeSumUpKeys(name); }
};

} // namespace TZM
