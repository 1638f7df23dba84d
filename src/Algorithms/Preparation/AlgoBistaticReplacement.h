#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamBistaticReplacement : AlgoParamBase {
    AlgoParamBistaticReplacement();
    AlgoParamBistaticReplacement(bool enableLogging, int loggingLevel, int replaceHeight, int crossfadeLen,
                                 bool enabled);

    Prm<int> replaceHeight; ///< samples at the top of an A-scan that are replaced, limited to 0 .. samples
    Prm<int> crossfadeLen;  ///< samples of the fade behind them, limited to 0 .. what is left
    Prm<bool> enabled;      ///< off: the output is a plain copy
};

/// Replaces the first h = replaceHeight samples of every bistatic A-scan by the mean r of the monostatic A-scans at the
/// same place in the B-scans beside it, and fades back over f = crossfadeLen samples:
///     out[s] = r[s]                               for s < h,
///     out[s] = (1 - w) r[s] + w in[s]             for h <= s < h + f, w = (s - h + 1) / f,
///     out[s] = in[s]                              behind it.
/// Where only one neighbour is valid r is that one; where none is, or where the A-scan itself isn't, r is 0. Monostatic
/// B-scans pass unchanged, and everything does if enabled is off or h is 0.
///
/// Output: that of the input, which may be the same block. CalcError -11 if neither 5 nor 7 divides the number of B-scans, before the output is
/// touched; 99 "IPP::Exception::ippsCopy_32f" if a dimension is 0.
class TZM_EXPORT AlgoBistaticReplacement : public Algo<AlgoParamBistaticReplacement> {
public:
    static const int defaultReplaceHeight; ///< 30
    static const int defaultCrossfadeLen;  ///< 10
    static const bool defaultEnabled;      ///< false

    explicit AlgoBistaticReplacement(const std::string& name = "BistaticReplacement");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
