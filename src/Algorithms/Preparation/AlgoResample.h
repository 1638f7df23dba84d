#pragma once

#include <vector>

#include "Framework/Algo.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamResample : AlgoParamBase {
    AlgoParamResample();
    AlgoParamResample(bool enableLogging, int loggingLevel, float deltaT, float deltaX);

    Prm<float> deltaT; ///< ns between samples; 0: as they are
    Prm<float> deltaX; ///< metres between A-scans; 0: as they are
};

/// Brings A-scans to another interval in time and lines to another spacing, by a sinc in a Kaiser window (R. E.
/// Crochiere and L. R. Rabiner, "Multirate Digital Signal Processing", 1983, section 2.7; `Resampling` holds the
/// weights):
///     out[i, j] = sum over s, y of w_t(i r - s) w_x(j q - y) in[s, y],   r and q the new intervals in old ones.
/// What a longer interval can't hold is taken out ahead of it. The first sample and the first A-scan of the block stay
/// where they are; of the valid A-scans a .. b come those at ceil(a / q) .. floor(b / q), and what lies outside them
/// plays no part.
///
/// Output: floor((S - 1) / r) + 1 samples of floor((A - 1) / q) + 1 A-scans; those outside the valid range come out as
/// zeros. The intervals ahead of it are those of the global settings; who chains algorithms sets SamplingBehind for
/// those that follow. CalcError -8 for a negative interval, -9 if one of the global settings isn't above 0 where it
/// counts, -12 for more samples or A-scans than an index counts, 99 "IPP::Exception::ippsCopy_32f" if a dimension is
/// 0. A NaN or an infinity stays in its A-scan in time; along the scan it reaches the A-scans within 16 of the longer
/// intervals, at its own depth.
class TZM_EXPORT AlgoResample : public Algo<AlgoParamResample> {
public:
    explicit AlgoResample(const std::string& name = "Resample");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    ImageProps GetAdjustedImageDimensions(const ImageProps& props) const override;
    void ParseParamsFromJsonConfig() override;

    /// The output of a block with such intervals, whatever the global settings are.
    ImageProps DimensionsBehind(const ImageProps& props, const AlgoGlobalSettings& sampling) const;
    /// The intervals of the output.
    AlgoGlobalSettings SamplingBehind(const AlgoGlobalSettings& sampling) const;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
