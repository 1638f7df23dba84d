#pragma once

#include "Algorithms/Reduction/SumUp.h"
#include "Framework/Algo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamVerticalSumUp : AlgoParamSumUp {
    using AlgoParamSumUp::AlgoParamSumUp;
};

/// Reduces a window of Thickness samples of an A-scan to one value: the sample itself and those behind it, as far as
/// they exist. Of equal magnitudes the earliest sample wins.
///
/// Output: that of the input. CalcError 99 if a dimension is 0, "IPP::Exception::ippsCopy_32f" if t is 1 and
/// "IPP::Exception::ippsZero_32f" otherwise.
class TZM_EXPORT AlgoVerticalSumUp : public Algo<AlgoParamVerticalSumUp> {
public:
    static const int defaultThickness; ///< 0
    static const bool defaultUseMax;   ///< true

    explicit AlgoVerticalSumUp(const std::string& name = "VerticalSumUp");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const { return DescribeSumUpKeys(name); }
};

} // namespace TZM
