#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamBistaticCorrection : AlgoParamBase {
    AlgoParamBistaticCorrection();
    AlgoParamBistaticCorrection(bool enableLogging, int loggingLevel, int timeZero, float permittivity,
                                float antennaOffset);

    Prm<int> timeZero;        ///< carried along; the correction starts at sample 0
    Prm<float> permittivity;  ///< relative permittivity of the ground, above 0
    Prm<float> antennaOffset; ///< distance between transmitter and receiver, in metres
};

/// Moves every bistatic A-scan to the times of one antenna at the midpoint, with one speed v = 3e8 / sqrt(permittivity)
/// m/s and one antenna offset d (normal moveout: C. H. Dix, Seismic velocities from surface measurements, Geophysics 20
/// (1955), 68-86): input sample k belongs to the zero-offset sample
///     t[k] = sqrt(k^2 - (d / (v delta_t))^2),   0 where the root has no real value,
/// and output samples are read linearly between the two input samples around them. Sample 0 becomes 0, and so do the
/// last samples, which come from behind the A-scan. Sampling is that of the global settings.
///
/// Output: that of the input; sample 0 of the input has to be time zero. Monostatic B-scans pass unchanged; every
/// A-scan is treated, valid or not. A NaN spoils the samples beside it. CalcError -10 if the permittivity isn't above
/// 0, -11 if neither 5 nor 7 divides the number of B-scans, both before the output is touched; 99
/// "IPP::Exception::ippsCopy_32f" if a dimension is 0.
class TZM_EXPORT AlgoBistaticCorrection : public Algo<AlgoParamBistaticCorrection> {
public:
    static const int defaultTimeZero;        ///< 1
    static const float defaultPermittivity;  ///< 6.0
    static const float defaultAntennaOffset; ///< 0.0461 m

    explicit AlgoBistaticCorrection(const std::string& name = "BistaticCorrection");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
