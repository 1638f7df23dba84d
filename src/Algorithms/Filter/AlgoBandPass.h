#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamBandPass : AlgoParamBase {
    AlgoParamBandPass();
    AlgoParamBandPass(bool enableLogging, int loggingLevel, float low, float high, int order);

    Prm<float> low;  ///< MHz, lower edge of the band; 0: open
    Prm<float> high; ///< MHz, upper edge; 0: open
    Prm<int> order;  ///< of the Butterworth edges; 0: a trapezoid
};

/// Keeps a band of frequencies of every A-scan and moves nothing: each frequency f is weighed with
///     w(f) = 1 / (1 + (low / f)^(2 order)) / (1 + (f / high)^(2 order)),
/// which is what a Butterworth high-pass and low-pass of that order give when they are run forwards and then backwards
/// (S. Butterworth, Experimental Wireless 7 (1930), 536-541), or, with an order of 0, with a trapezoid that rises
/// linearly from 2/3 to 4/3 of `low` and falls from 2/3 to 4/3 of `high`. Both have 1/2 at either edge. An edge of 0 is
/// open: without `low` the mean of the A-scan stays.
///
/// At both ends its mirror image continues the A-scan: the frequencies are those of the cosine spectrum C[k] over the S
/// samples, f = k / (2 S deltaT), so that nothing of one end comes back at the other, and a constant stays one.
///
/// Output: that of the input; A-scans outside the valid range come out as zeros, one with a NaN or an infinity as NaN.
/// Any number of samples. The sampling interval is that of the global settings. CalcError -8 for a negative edge or
/// order, -12 for a lower edge above the upper one, 99 "IPP::Exception::ippsCopy_32f" if a dimension is 0.
class TZM_EXPORT AlgoBandPass : public Algo<AlgoParamBandPass> {
public:
    static const float defaultLow;  ///< 0
    static const float defaultHigh; ///< 0
    static const int defaultOrder;  ///< 4

    explicit AlgoBandPass(const std::string& name = "BandPass");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
