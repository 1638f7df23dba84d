#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamTimeGain : AlgoParamBase {
    AlgoParamTimeGain();
    AlgoParamTimeGain(bool enableLogging, int loggingLevel, int timeZero, float power, float rate, float limit,
                      float attenuation, float permittivity);

    Prm<int> timeZero;       ///< sample from which time counts
    Prm<float> power;        ///< of the time; 1 undoes spherical spreading
    Prm<float> rate;         ///< dB/ns
    Prm<float> limit;        ///< dB, the largest factor
    Prm<float> attenuation;  ///< dB/m along the way of the wave, added to the rate
    Prm<float> permittivity; ///< relative, of the ground; it turns the attenuation into a rate
};

/// Multiplies every A-scan by a factor of the time t behind time zero, t in ns:
///     g(t) = t^power 10^((rate + attenuation v) t / 20), at most 10^(limit / 20),   v = 0.3 m/ns / sqrt(permittivity),
/// 1 ahead of time zero and, unless power is 0, up to t = 1 ns. So a negative power with a negative rate undoes the
/// gain of the positive ones.
///
/// A wave that spreads as a sphere loses amplitude with its way, and so with time: a power of 1 is that spreading, with
/// two-way times, too; a rate is what the ground swallows (A. P. Annan, Ground-Penetrating Radar, in: Near-Surface
/// Geophysics, SEG 2005, 357-438, on spreading and exponential compensation gain). Unlike a gain that follows the data,
/// it keeps the ratio of the echoes of one depth.
///
/// Output: that of the input; A-scans outside the valid range come out as zeros. The sampling interval is that of the
/// global settings. CalcError -8 for a negative time zero or limit, -10 for a permittivity that isn't above 0, -12 for
/// a power, rate or attenuation that isn't finite, 99 "IPP::Exception::ippsCopy_32f" if a dimension is 0.
class TZM_EXPORT AlgoTimeGain : public Algo<AlgoParamTimeGain> {
public:
    static const int defaultTimeZero;       ///< 0
    static const float defaultPower;        ///< 1
    static const float defaultRate;         ///< 0
    static const float defaultLimit;        ///< 60 dB
    static const float defaultAttenuation;  ///< 0
    static const float defaultPermittivity; ///< 6

    explicit AlgoTimeGain(const std::string& name = "TimeGain");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
