#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/BlockCoupling.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamTimeZeroCrop : AlgoParamBase {
    AlgoParamTimeZeroCrop();
    AlgoParamTimeZeroCrop(bool enableLogging, int loggingLevel, int timeZero, const std::vector<int>& timeZeros);

    Prm<int> timeZero;               ///< sample that becomes the first one
    Prm<std::vector<int>> timeZeros; ///< the same of B-scan i at i modulo their number; empty: timeZero for all
};

/// Moves a time zero that is known to sample 0: drops the samples ahead of it. For the algorithms that count time from
/// the first sample, such as a Kirchhoff migration, and for channels whose time zeros differ.
///     out[s] = in[s + t],   t = timeZeros[i modulo their number] for B-scan i, or timeZero,   s = 0 .. S - max(t) - 1
/// Output: max(t) samples fewer per A-scan; the largest t of a list counts, whether or not a B-scan has it. Every
/// A-scan is treated, valid or not. CalcError -8 if a t is below 0, 99 "IPP::Exception::ippsCopy_32f" if no sample is
/// left or a dimension is 0.
class TZM_EXPORT AlgoTimeZeroCrop : public Algo<AlgoParamTimeZeroCrop>, public CountsBscans {
public:
    static const int defaultTimeZero; ///< 1

    explicit AlgoTimeZeroCrop(const std::string& name = "TimeZeroCrop");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ExecutePart(const float* in, const ImageProps& partProps, const BlockPart& part, float* out,
                     const ImageProps& outProps) const override;
    ImageProps GetAdjustedImageDimensions(const ImageProps& props) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;

private:
    int Largest() const;
};

} // namespace TZM
