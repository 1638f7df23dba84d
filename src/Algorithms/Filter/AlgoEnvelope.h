#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamEnvelope : AlgoParamBase {
    /// What becomes of the analytic signal. Any value without a name gives the magnitude.
    enum Kind {
        Magnitude, ///< the envelope
        Phase,     ///< instantaneous phase in radians, -pi .. pi
        Frequency  ///< instantaneous frequency in MHz
    };

    AlgoParamEnvelope();
    AlgoParamEnvelope(bool enableLogging, int loggingLevel, Kind kind);

    Prm<Kind> kind;
};

/// Replaces every A-scan x by an attribute of its analytic signal a[s] = x[s] + i h[s], h the Hilbert transform of x
/// (M. T. Taner, F. Koehler and R. E. Sheriff, Complex seismic trace analysis, Geophysics 44 (1979), 1041-1063):
///     magnitude  out[s] = |a[s]|, so that a reflector shows as one positive peak,
///     phase      out[s] = arg a[s], which follows a layer however weak its echo is,
///     frequency  out[s] = (arg(a[s] / a[s-1]) + arg(a[s+1] / a[s])) / (4 pi deltaT), at both ends the one difference
///                that there is; 0 beside samples whose magnitude is 0.
///
/// At both ends its mirror image continues the A-scan, h is that of the even periodic signal x[0] .. x[S-1], x[S-1] ..
/// x[0]: its end meets itself, not its beginning, so that neither end rings with what is strong at the other.
///
/// Output: that of the input; A-scans outside the valid range come out as zeros, one with a NaN or an infinity as NaN.
/// Any number of samples. The sampling interval is that of the global settings. CalcError 99
/// "IPP::Exception::ippsCopy_32f" if a dimension is 0.
class TZM_EXPORT AlgoEnvelope : public Algo<AlgoParamEnvelope> {
public:
    static const AlgoParamEnvelope::Kind defaultKind; ///< Magnitude

    explicit AlgoEnvelope(const std::string& name = "Envelope");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
