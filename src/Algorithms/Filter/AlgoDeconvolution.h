#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamDeconvolution : AlgoParamBase {
    AlgoParamDeconvolution();
    AlgoParamDeconvolution(bool enableLogging, int loggingLevel, float gap, float length, float noise);

    Prm<float> gap;    ///< ns that stay as they are behind an echo; 0: spiking, all but its first sample goes
    Prm<float> length; ///< ns behind the gap in which an echo repeats itself
    Prm<float> noise;  ///< share of white noise that steadies the operator
};

/// Takes out of every A-scan what its own past predicts: ringing and multiples, or, with a gap of 0, the tail of the
/// wavelet (K. L. Peacock and S. Treitel, Predictive deconvolution: theory and practice, Geophysics 34 (1969),
/// 155-169).
///     out[s] = in[s] - sum over j < n of a[j] in[s - g - j],   in[s] = 0 for s < 0,
///     sum over j < n of r[|i - j|] a[j] = r[g + i],   i = 0 .. n - 1,
///     r[k] = sum over s of in[s] in[s + k],   r[0] times 1 + noise,
/// with g = gap / deltaT and n = length / deltaT, rounded, at least 1, g + n at most the samples of an A-scan; behind a
/// gap of all of it the A-scan stays as it is. Each A-scan has an operator of its own, in 64 bits. Its equations are
/// solved by the recursion of N. Levinson (J. Math. Phys. 25 (1946), 261-278), which ends early where nothing is left
/// to predict. The first g samples stay; at g = 1 the operator is the spiking one up to its scale.
///
/// Output: that of the input; A-scans outside the valid range come out as zeros. Sampling is that of the global
/// settings. CalcError -8 for a negative gap or noise, -9 for a length that isn't above 0, 99
/// "IPP::Exception::ippsCopy_32f" if a dimension is 0. A NaN or an infinity makes its A-scan NaN and no other.
class TZM_EXPORT AlgoDeconvolution : public Algo<AlgoParamDeconvolution> {
public:
    static const float defaultGap;    ///< 0 ns
    static const float defaultLength; ///< 5 ns
    static const float defaultNoise;  ///< 0.01

    explicit AlgoDeconvolution(const std::string& name = "Deconvolution");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
